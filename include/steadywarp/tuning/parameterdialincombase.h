// SPDX-License-Identifier: Apache-2.0
/// @file parameterdialincombase.h
/// Frames, queues and the two I/O threads of the live tuning service, on top of any transport.
///
/// Every frame, both ways, opens with u16 start tag, u16 command, u16 total length, little-endian.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "steadywarp/tuning/parametertypes.h"

/// Moves frames between a transport and whoever answers them.
///
/// The read thread puts requests together from what arrives, the write thread sends replies. A
/// client that never takes its replies is not read from any more once a few dozen requests of its
/// own wait. Threads: Start(), Stop(), Read() and QueueReply() any; the rest as stated.
class STEADYWARP_API ParameterDialinComBase {
  public:
    static constexpr uint16_t kStartTag = 0x425A;
    static constexpr uint8_t kMaxCommand = 9;
    static constexpr unsigned int kHeaderSize = 6;
    static constexpr unsigned int kBufferSize = 65535;

    /// One frame. Data NULL and length 0 stand for a frame that was too long.
    struct STEADYWARP_API Packet {
        unsigned char* data = nullptr;  ///< one zero byte follows the last
        uint32_t length = 0;
        uint32_t client = 0;     ///< counts the clients; the reply to one never reaches another
        Packet* next = nullptr;  ///< the one behind it in its queue

        /// Copy a frame; lengths 0 and 65535 make the empty packet.
        /// @return NULL if memory is exhausted.
        static Packet* Make(unsigned char const* bytes, uint32_t length, uint32_t client);
        ~Packet();
        Packet() = default;
        Packet(const Packet&) = delete;
        Packet& operator=(const Packet&) = delete;
    };

    /// @param setManager logs, and must outlive this object; NULL is logged.
    explicit ParameterDialinComBase(IParameterLoggingAPI* setManager);
    /// The object must have been stopped: a subclass calls Stop() in its own destructor.
    virtual ~ParameterDialinComBase();
    ParameterDialinComBase(const ParameterDialinComBase&) = delete;
    ParameterDialinComBase& operator=(const ParameterDialinComBase&) = delete;

    /// Open the transport; a failure is logged, and nobody will ever be read from.
    virtual void StartCom() = 0;
    /// Close the transport. No thread uses it any more.
    virtual void StopCom() = 0;
    /// Wait for bytes of a client. Read thread only.
    /// @param timeoutSeconds negative never ends. @param stop read with std::atomic_ref.
    /// @return the number of bytes; 0 when stopped or out of time, -1 when the client has left.
    virtual int ReadData(unsigned char* buffer, unsigned int size, int timeoutSeconds,
                         bool& stop) = 0;
    /// Send a whole frame or end the connection. Write thread only.
    virtual void WriteData(unsigned char* buffer, unsigned int size) = 0;
    /// Make ReadData() and WriteData() return soon. Any thread.
    virtual void EndConnection() {}

    /// Open the transport and start both threads, unless they run.
    void Start();
    /// End both threads and close the transport, if they run.
    void Stop();
    /// Take the next request, waiting once for up to `timeoutSeconds`. @return NULL if none came;
    /// else delete it.
    Packet* Read(int timeoutSeconds);
    /// Hand over a reply, which is owned from here on. NULL is passed over.
    void QueueReply(Packet* reply);
    /// Take the first reply that waits. @return NULL if there is none; else delete it.
    Packet* TakeReply();

    /// Put one request together from what arrives. Read thread only.
    /// @param out receives the frame, cut at `size`.
    /// @param maxCommand commands from this number on are refused and stay in the way.
    /// @return the frame's length, or 0 when stopped or out of time.
    unsigned int ReceiveDialinRequest(unsigned char* out, unsigned int size,
                                      unsigned char maxCommand, int timeoutSeconds, bool& stop);
    /// @{
    /// What the two threads do.
    void ReadWorker();
    void WriteWorker();
    /// @}

    /// Seconds that each wait may take; 3 unless set. Before Start().
    void SetTimeout(int seconds) { m_timeout = seconds; }
    int GetTimeout() const { return m_timeout; }

  protected:
    IParameterLoggingAPI* GetLogger() const { return m_logger; }
    /// Tell whether Stop() was called. Any thread.
    bool IsStopping();

  private:
    struct Signal {
        bool ready = false;
        std::mutex mutex;
        std::condition_variable changed;

        void Set();
        void Wait(int timeoutSeconds);
    };
    /// Chained by the packets themselves, so that nothing here can fail.
    struct Queue {
        Packet* first = nullptr;
        Packet* last = nullptr;
        size_t count = 0;
        std::mutex mutex;

        void Push(Packet* packet);
        Packet* Take();
        size_t Count();
        void Clear();
    };

    enum class Head { kIncomplete, kRefused, kWhole };
    Head InspectHead(unsigned char maxCommand);
    unsigned int DeliverHead(unsigned char* out, unsigned int size);
    void ForgetClient(unsigned char maxCommand);
    void WaitForRoom();
    bool WriteToItsClient(Packet& reply);
    void SetStop(bool stop);
    std::thread* StartThread(void (ParameterDialinComBase::*work)());

    IParameterLoggingAPI* m_logger;
    IParameterLoggingAPI* m_setManager;
    unsigned char m_buffer[kBufferSize] = {};
    uint32_t m_fill = 0;
    alignas(int) bool m_stop = false;  // through std::atomic_ref
    Signal m_requestReady, m_writeReady, m_readReady;
    std::thread* m_readThread = nullptr;
    std::thread* m_writeThread = nullptr;
    int32_t m_timeout = 3;
    Queue m_requests, m_replies;
    std::mutex m_clientMutex;           // held while a reply is on its way, and to count on
    std::atomic<uint32_t> m_client{0};  // number of the client at hand
    std::mutex m_startMutex;            // guards the two threads
};
