// SPDX-License-Identifier: Apache-2.0
/// @file parameterdialinworker.h
/// The commands of the live tuning service, run against a set manager.
#pragma once

#include <memory>

#include "steadywarp/tuning/parameterdialincombase.h"

/// What an embedding program answers command 8 with.
class IParameterDialinCustom {
  public:
    /// @param payload bytes behind the request's header and ID. @param room bytes at `output`.
    /// @param outputLength bytes written to `output`, at most `room`.
    /// @return the result that the client gets. Called on the worker thread.
    virtual uint16_t ProcessCustom(unsigned char const* payload, unsigned int payloadLength,
                                   unsigned int room, unsigned char* output,
                                   uint16_t& outputLength) = 0;

  protected:
    ~IParameterDialinCustom() = default;
};

/// Takes requests one at a time on a thread of its own and queues the replies.
class STEADYWARP_API ParameterDialinWorker {
  public:
    /// What a client can ask for.
    enum Command : uint16_t {
        kDeviceInfo = 0,
        kActiveModes = 1,
        kControlValues = 2,
        kModes = 3,
        kInfo = 4,
        kGetValues = 5,
        kSetValues = 6,
        kTriggerValues = 7,
        kCustom = 8,
    };
    static constexpr uint16_t kVersionMajor = 1;
    static constexpr uint16_t kVersionMinor = 0;

    /// Serve on a socket. @param dataApi must outlive this object, or its Stop().
    explicit ParameterDialinWorker(IParameterDataAPI* dataApi);
    /// Serve on another transport. @param com owned from here on.
    ParameterDialinWorker(IParameterDataAPI* dataApi, ParameterDialinComBase* com);
    /// Stops.
    ~ParameterDialinWorker();
    ParameterDialinWorker(const ParameterDialinWorker&) = delete;
    ParameterDialinWorker& operator=(const ParameterDialinWorker&) = delete;

    /// Start the transport and the thread, unless they run or are just being started or stopped.
    /// Any thread.
    void Start();
    /// Stop both, if they run, after the command that is being run. The next load or reload starts
    /// them again unless the set manager is told otherwise (SetStartService). Hold no lock of the
    /// set manager: the command may wait for it. Any thread but the worker's own.
    void Stop();

    /// Install who answers command 8, or NULL. Must outlive this object. Any thread.
    void SetCustomHandler(IParameterDialinCustom* handler) { m_custom = handler; }
    ParameterDialinComBase* GetCom() { return m_com.get(); }

    /// What the thread does.
    void ReadWorker();
    /// Run one request, a frame with its header, and queue the reply. Worker thread.
    void Process(unsigned char* frame, unsigned int length, uint32_t client);

    /// @{
    /// One command each; `frame` is the whole request. Worker thread.
    void ProcessDeviceInfo();
    void ProcessDataActiveModes();
    void ProcessDataControlValues();
    void ProcessDataTriggerValues();
    void ProcessDataModes(unsigned char* frame, unsigned int length);
    void ProcessDataInfo(unsigned char* frame, unsigned int length);
    void ProcessDataGetValues(unsigned char* frame, unsigned int length);
    void ProcessDataSetValues(unsigned char* frame, unsigned int length);
    void ProcessCustom(unsigned char* frame, unsigned int length);
    /// @}

    /// Tell whether all bytes are ASCII characters or nul.
    bool IsPrintable(unsigned char* bytes, unsigned int length);

  private:
    struct Target;
    class Reply;

    bool MakeReply(Reply& reply, uint16_t command, unsigned int room);
    void Queue(Reply& reply, unsigned int length);
    void ReplyWithText(Reply& reply, char const* format, uint16_t command);
    uint32_t ReadId(unsigned char const* frame, unsigned int length);
    bool SplitTarget(char const* payload, Target& target);
    void SetOneValue(Target& target, char const* pair, unsigned int length, Reply& reply,
                     unsigned int* pos, char* scratch);

    IParameterDataAPI* m_dataApi;
    std::unique_ptr<ParameterDialinComBase> m_com;
    std::atomic<bool> m_stop{false};
    int32_t m_timeout = 3;
    std::thread* m_thread = nullptr;
    std::atomic<IParameterDialinCustom*> m_custom{nullptr};
    std::mutex m_startMutex;  // guards the thread
    uint32_t m_client = 0;    // whose request is being run
};
