// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parameterdialinworker.h"

#include <algorithm>
#include <cinttypes>
#include <new>
#include <system_error>

#include "parameterlogging.hpp"
#include "platform/os_utils.hpp"
#include "steadywarp/tuning/parameterdialincom.h"
#include "steadywarp/tuning/parameterutils.h"

namespace {

constexpr unsigned int kTextOffset = 6;  // of replies without an ID
constexpr unsigned int kIdOffset = 6;
constexpr unsigned int kPayloadOffset = 10;  // of requests, and of replies with an ID
constexpr unsigned int kLeastWithPayload = 11;
constexpr unsigned int kFrameSize = ParameterDialinComBase::kBufferSize;
constexpr unsigned int kField = 512;  // longest field of a payload, its nul included
constexpr unsigned int kNameOffset = 16;
constexpr unsigned int kNameSize = 240;
constexpr unsigned int kActiveSize = 1018;
constexpr unsigned int kListSize = 4090;
constexpr unsigned int kChildrenSize = 4086;
constexpr unsigned int kCustomOffset = 12;
constexpr int kShown = 127;  // characters of a payload in a line

void PutU16(unsigned char* at, unsigned int value) {
    at[0] = static_cast<unsigned char>(value);
    at[1] = static_cast<unsigned char>(value >> 8);
}

char const* PayloadOf(unsigned char const* frame, unsigned int length) {
    // A packet is followed by a zero byte, so a text in it always ends.
    return length > kPayloadOffset ? reinterpret_cast<char const*>(frame) + kPayloadOffset : "";
}

}  // namespace

// A frame on its way to a client.
class ParameterDialinWorker::Reply {
  public:
    bool Allocate(unsigned int size) {
        m_bytes.reset(new (std::nothrow) unsigned char[size]());
        m_size = m_bytes != nullptr ? size : 0;
        return m_bytes != nullptr;
    }
    unsigned char* Bytes() { return m_bytes.get(); }
    char* TextAt(unsigned int offset) { return reinterpret_cast<char*>(m_bytes.get()) + offset; }
    unsigned int Size() const { return m_size; }
    // Begin with the header and the ID of the request.
    void Answer(unsigned char const* frame, unsigned int length) {
        std::memcpy(m_bytes.get(), frame, std::min(length, kPayloadOffset));
    }

  private:
    std::unique_ptr<unsigned char[]> m_bytes;
    unsigned int m_size = 0;
};

// "modes:module:rest", with the modes by number.
struct ParameterDialinWorker::Target {
    char modes[kField] = "";
    char module[kField] = "";
    char const* rest = nullptr;  // behind the second colon; NULL if there is none
};

// ---- Starting and stopping ----

ParameterDialinWorker::ParameterDialinWorker(IParameterDataAPI* dataApi)
    : ParameterDialinWorker(dataApi, new (std::nothrow) ParameterDialinCom(dataApi)) {}

ParameterDialinWorker::ParameterDialinWorker(IParameterDataAPI* dataApi,
                                             ParameterDialinComBase* com)
    : m_dataApi(dataApi), m_com(com) {
    if (dataApi == nullptr) {
        PARAMETER_LOG_ERROR(
            m_dataApi, "ParameterDialinWorker constructed with a nullptr Set Manager object\n");
    }
}

ParameterDialinWorker::~ParameterDialinWorker() {
    Stop();
}

void ParameterDialinWorker::Start() {
    // Who holds the mutex starts, which is enough, or stops, and may wait for the very command that
    // led here by a reload.
    const std::unique_lock<std::mutex> lock(m_startMutex, std::try_to_lock);
    if (!lock.owns_lock() || m_thread != nullptr || m_com == nullptr || m_dataApi == nullptr) {
        return;
    }
    m_stop = false;
    m_com->Start();
    try {
        m_thread = new std::thread(&ParameterDialinWorker::ReadWorker, this);
    } catch (const std::exception& failure) {
        PARAMETER_LOG_ERROR(m_dataApi, "Dialin thread create failed: %s\n", failure.what());
        m_com->Stop();
    }
}

void ParameterDialinWorker::Stop() {
    const std::lock_guard<std::mutex> lock(m_startMutex);
    m_stop = true;
    if (m_thread != nullptr) {
        m_com->Stop();
        m_thread->join();
        delete m_thread;
        m_thread = nullptr;
    }
}

void ParameterDialinWorker::ReadWorker() {
    while (!m_stop) {
        const std::unique_ptr<ParameterDialinComBase::Packet> packet(m_com->Read(m_timeout));
        if (packet != nullptr && packet->data != nullptr) {
            Process(packet->data, packet->length, packet->client);
        }
    }
}

void ParameterDialinWorker::Process(unsigned char* frame, unsigned int length, uint32_t client) {
    m_client = client;
    unsigned int command = kDeviceInfo;
    if (length < 4) {
        PARAMETER_LOG_ERROR(m_dataApi,
                            "Failed to read %lld bytes from binary file offset %d, length %d\n",
                            2LL, 2, static_cast<int>(length));
    } else {
        command = frame[2] | static_cast<unsigned int>(frame[3]) << 8;
    }
    switch (command) {
        case kDeviceInfo:
            return ProcessDeviceInfo();
        case kActiveModes:
            return ProcessDataActiveModes();
        case kControlValues:
            return ProcessDataControlValues();
        case kModes:
            return ProcessDataModes(frame, length);
        case kInfo:
            return ProcessDataInfo(frame, length);
        case kGetValues:
            return ProcessDataGetValues(frame, length);
        case kSetValues:
            return ProcessDataSetValues(frame, length);
        case kTriggerValues:
            return ProcessDataTriggerValues();
        case kCustom:
            return ProcessCustom(frame, length);
        default:
            return;
    }
}

// ---- Replies ----

bool ParameterDialinWorker::MakeReply(Reply& reply, uint16_t command, unsigned int room) {
    if (!reply.Allocate(room)) {
        PARAMETER_LOG_ERROR(m_dataApi, "Dialin failed to allocate a reply of %u bytes\n", room);
        return false;
    }
    PutU16(reply.Bytes(), ParameterDialinComBase::kStartTag);
    PutU16(reply.Bytes() + 2, command);
    return true;
}

void ParameterDialinWorker::Queue(Reply& reply, unsigned int length) {
    PutU16(reply.Bytes() + 4, length);
    auto* packet = ParameterDialinComBase::Packet::Make(reply.Bytes(), length, m_client);
    if (packet == nullptr) {
        PARAMETER_LOG_ERROR(m_dataApi, "Dialin failed to allocate a reply of %u bytes\n", length);
    }
    m_com->QueueReply(packet);
}

uint32_t ParameterDialinWorker::ReadId(unsigned char const* frame, unsigned int length) {
    uint32_t id = 0;
    if (length < kPayloadOffset) {
        PARAMETER_LOG_ERROR(m_dataApi,
                            "Failed to read %lld bytes from binary file offset %d, length %d\n",
                            4LL, static_cast<int>(kIdOffset), static_cast<int>(length));
        return 0;
    }
    std::memcpy(&id, frame + kIdOffset, sizeof id);
    return id;
}

void ParameterDialinWorker::ProcessDeviceInfo() {
    Reply reply;
    if (!MakeReply(reply, kDeviceInfo, kNameOffset + kNameSize)) {
        return;
    }
    const uint64_t handle = reinterpret_cast<uintptr_t>(m_dataApi);
    PutU16(reply.Bytes() + 6, kVersionMajor);
    std::memcpy(reply.Bytes() + 8, &handle, sizeof handle);
    char* name = reply.TextAt(kNameOffset);
    if (m_dataApi->GetLogName()[0] != '\0') {
        Zelm::OsUtils::StrLCpy(name, m_dataApi->GetLogName(), kNameSize);
    } else {
        std::snprintf(name, kNameSize, "0x%016" PRIx64, handle);
    }
    Queue(reply, kNameOffset + static_cast<unsigned int>(std::strlen(name)) + 1);
    PARAMETER_LOG_DEBUG(m_dataApi, "Dialin queued command: Info(%d), Version: %u.%u, Name: %s\n",
                        kDeviceInfo, kVersionMajor, kVersionMinor, name);
}

void ParameterDialinWorker::ProcessDataActiveModes() {
    Reply reply;
    if (!MakeReply(reply, kActiveModes, kTextOffset + kActiveSize)) {
        return;
    }
    char* text = reply.TextAt(kTextOffset);
    if (!m_dataApi->GetActiveModes(text, kActiveSize)) {
        text[0] = '\0';
    }
    Queue(reply, kTextOffset + static_cast<unsigned int>(std::strlen(text)) + 1);
    PARAMETER_LOG_DEBUG(m_dataApi,
                        "Dialin queued command: Active Modes(%d), Version: %u.%u, Active: %s\n",
                        kActiveModes, kVersionMajor, kVersionMinor, text);
}

void ParameterDialinWorker::ProcessDataControlValues() {
    Reply reply;
    if (!MakeReply(reply, kControlValues, kTextOffset + kListSize)) {
        return;
    }
    char* text = reply.TextAt(kTextOffset);
    if (!m_dataApi->GetControlValues(text, kListSize)) {
        text[0] = '\0';
    }
    Queue(reply, kTextOffset + static_cast<unsigned int>(std::strlen(text)) + 1);
    PARAMETER_LOG_DEBUG(m_dataApi,
                        "Dialin queued command: Control Values(%d), Version: %u.%u, Name: %s\n",
                        kControlValues, kVersionMajor, kVersionMinor, text);
}

void ParameterDialinWorker::ProcessDataTriggerValues() {
    Reply reply;
    if (!MakeReply(reply, kTriggerValues, kTextOffset + kListSize)) {
        return;
    }
    char* text = reply.TextAt(kTextOffset);
    if (!m_dataApi->GetTriggerValues(text, kListSize)) {
        text[0] = '\0';
    }
    Queue(reply, kTextOffset + static_cast<unsigned int>(std::strlen(text)) + 1);
    PARAMETER_LOG_DEBUG(m_dataApi,
                        "Dialin queued command: Trigger Values(%d), Version: %u.%u, Name: %s\n",
                        kTriggerValues, kVersionMajor, kVersionMinor, text);
}

// ---- Modes and modules ----

void ParameterDialinWorker::ProcessDataModes(unsigned char* frame, unsigned int length) {
    const uint32_t id = ReadId(frame, length);
    Reply reply;
    if (!MakeReply(reply, kModes, kPayloadOffset + kChildrenSize)) {
        return;
    }
    reply.Answer(frame, length);
    char path[kField] = "";
    if (!m_dataApi->GetModeShorthand(PayloadOf(frame, length), path, sizeof path)) {
        path[0] = '\0';
    }
    const unsigned int written =
        m_dataApi->GetChildModes(path, reply.Bytes() + kPayloadOffset, kChildrenSize);
    Queue(reply, written + kPayloadOffset);
    PARAMETER_LOG_DEBUG(m_dataApi, "Dialin queued command: Modes(%d), ID: %u, Payload: %.*s...\n",
                        kModes, id, kShown, reply.TextAt(kPayloadOffset));
}

// @return false if a field is longer than a field can be, or the modes cannot be read.
bool ParameterDialinWorker::SplitTarget(char const* payload, Target& target) {
    char named[kField];
    const unsigned int modes = ParameterUtils::GetSubString(payload, ':', named, sizeof named);
    payload += modes;
    payload += *payload == ':' ? 1 : 0;
    const unsigned int module =
        ParameterUtils::GetSubString(payload, ':', target.module, sizeof target.module);
    payload += module;
    target.rest = *payload == ':' ? payload + 1 : nullptr;
    return modes < sizeof named && module < sizeof target.module &&
           m_dataApi->GetModeShorthand(named, target.modes, sizeof target.modes);
}

void ParameterDialinWorker::ProcessDataInfo(unsigned char* frame, unsigned int length) {
    if (length < kLeastWithPayload) {
        return;
    }
    const uint32_t id = ReadId(frame, length);
    Reply reply;
    if (!MakeReply(reply, kInfo, kFrameSize)) {
        return;
    }
    reply.Answer(frame, length);
    char const* payload = PayloadOf(frame, length);
    char named[kField];
    char modes[kField] = "";
    const unsigned int consumed = ParameterUtils::GetSubString(payload, ':', named, sizeof named);
    char const* module = payload[consumed] == ':' ? payload + consumed + 1 : "";
    PList<ParameterParserInfo> entries(64);
    if (consumed >= sizeof named || !m_dataApi->GetModeShorthand(named, modes, sizeof modes) ||
        !m_dataApi->GetInfo(modes, module, entries)) {
        entries.Clear();
    }
    unsigned int pos = kPayloadOffset;
    for (ParameterParserInfo const& entry : entries) {
        char count[16] = "";
        if (entry.isArray) {
            std::snprintf(count, sizeof count, ",%u", entry.elementCount);
        }
        char text[kField + sizeof entry.value + 64];
        std::snprintf(text, sizeof text, "%s%.*s%s%s,%s%s", pos > kPayloadOffset ? ";" : "",
                      static_cast<int>(kField), entry.name != nullptr ? entry.name : "",
                      entry.value[0] != '\0' ? "=" : "", entry.value,
                      entry.type != nullptr ? entry.type : "", count);
        // What does not fit is told and left out; a shorter one may still fit.
        ParameterUtils::WriteString(text, reply.Bytes(), reply.Size(), &pos, false, m_dataApi);
    }
    Queue(reply, pos + 1);
    PARAMETER_LOG_DEBUG(m_dataApi, "Dialin queued command: Info(%d), ID: %u, Payload: %.*s\n",
                        kInfo, id, kShown, reply.TextAt(kPayloadOffset));
}

void ParameterDialinWorker::ProcessDataGetValues(unsigned char* frame, unsigned int length) {
    const uint32_t id = ReadId(frame, length);
    Reply reply;
    if (!MakeReply(reply, kGetValues, kFrameSize)) {
        return;
    }
    reply.Answer(frame, length);
    char* text = reply.TextAt(kPayloadOffset);
    Target target;
    if (!SplitTarget(PayloadOf(frame, length), target) ||
        !m_dataApi->GetValue(target.modes, target.module, target.rest, text,
                             kFrameSize - kPayloadOffset)) {
        text[0] = '\0';
    }
    Queue(reply, static_cast<unsigned int>(std::strlen(text)) + kLeastWithPayload);
    PARAMETER_LOG_DEBUG(m_dataApi, "Dialin queued command: GetValues(%d), ID: %u, Payload: %.*s\n",
                        kGetValues, id, kShown, text);
}

// One "name=value"; the reply takes what the module holds afterwards, if it took the value at all.
void ParameterDialinWorker::SetOneValue(Target& target, char const* pair, unsigned int length,
                                        Reply& reply, unsigned int* pos, char* scratch) {
    char name[kField];
    char value[kField];
    const unsigned int nameLength = ParameterUtils::GetSubString(pair, '=', name, sizeof name);
    if (length >= kField || nameLength >= length || pair[nameLength + 1] == ';' ||
        pair[nameLength + 1] == '\0') {
        return;
    }
    ParameterUtils::GetSubString(pair + nameLength + 1, ';', value, sizeof value);
    scratch[0] = '\0';
    if (!m_dataApi->SetValue(target.modes, target.module, name, value) ||
        !m_dataApi->GetValue(target.modes, target.module, name, scratch, kFrameSize)) {
        return;
    }
    const unsigned int before = *pos;
    if (*pos > kPayloadOffset &&
        !ParameterUtils::WriteString(";", reply.Bytes(), reply.Size(), pos, false, m_dataApi)) {
        return;
    }
    if (!ParameterUtils::WriteString(scratch, reply.Bytes(), reply.Size(), pos, false, m_dataApi)) {
        *pos = before;
        reply.Bytes()[before] = 0;
    }
}

void ParameterDialinWorker::ProcessDataSetValues(unsigned char* frame, unsigned int length) {
    const uint32_t id = ReadId(frame, length);
    Reply reply;
    const std::unique_ptr<char[]> scratch(new (std::nothrow) char[kFrameSize]);
    if (scratch == nullptr || !MakeReply(reply, kSetValues, kFrameSize)) {
        return;
    }
    reply.Answer(frame, length);
    unsigned int pos = kPayloadOffset;
    Target target;
    if (SplitTarget(PayloadOf(frame, length), target)) {
        for (char const* pair = target.rest; pair != nullptr && *pair != '\0';) {
            const unsigned int pairLength = ParameterUtils::GetSubString(pair, ';', nullptr, 0);
            SetOneValue(target, pair, pairLength, reply, &pos, scratch.get());
            pair += pairLength;
            pair += *pair == ';' ? 1 : 0;
        }
    }
    Queue(reply, pos + 1);
    PARAMETER_LOG_DEBUG(m_dataApi, "Dialin queued command: SetValues(%d), ID: %u, Payload: %.*s\n",
                        kSetValues, id, kShown, reply.TextAt(kPayloadOffset));
}

// ---- The embedding program's own ----

bool ParameterDialinWorker::IsPrintable(unsigned char* bytes, unsigned int length) {
    return std::all_of(bytes, bytes + length, [](unsigned char byte) {
        return byte == 0 || (byte >= 0x20 && byte <= 0x7E);
    });
}

void ParameterDialinWorker::ProcessCustom(unsigned char* frame, unsigned int length) {
    Reply reply;
    if (length < kLeastWithPayload || length > kFrameSize ||
        !MakeReply(reply, kCustom, kFrameSize)) {
        return;
    }
    const uint32_t id = ReadId(frame, length);
    reply.Answer(frame, length);
    constexpr unsigned int room = kFrameSize - kCustomOffset;
    uint16_t outputLength = 0;
    uint16_t result = 0;
    IParameterDialinCustom* handler = m_custom;
    if (handler == nullptr) {
        PARAMETER_LOG_WARNING(m_dataApi,
                              "Dialin queued Custom command received with no handler installed, "
                              "sending result = 0\n");
    } else {
        result = handler->ProcessCustom(frame + kPayloadOffset, length - kPayloadOffset, room,
                                        reply.Bytes() + kCustomOffset, outputLength);
        outputLength = static_cast<uint16_t>(std::min<unsigned int>(outputLength, room));
    }
    PutU16(reply.Bytes() + kPayloadOffset, result);
    Queue(reply, kCustomOffset + outputLength);
    unsigned char* payload = frame + kPayloadOffset;
    const bool shown = IsPrintable(payload, length - kPayloadOffset);
    PARAMETER_LOG_DEBUG(m_dataApi, "Dialin queued command: Custom(%d), ID: %u, Payload: %.*s...\n",
                        kCustom, id, kShown,
                        shown ? reinterpret_cast<char const*>(payload) : "(bytes)");
}
