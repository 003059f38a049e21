// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parameterdialincombase.h"

#include <algorithm>
#include <new>
#include <system_error>

#include "parameterlogging.hpp"

namespace {

constexpr unsigned int kIdOffset = 6;
constexpr unsigned int kPayloadOffset = 10;
constexpr int kShownPayload = 127;
// A client whose requests and replies wait in this number is not read from until some are done.
constexpr size_t kMostWaiting = 32;
constexpr unsigned int kLeastReply = 3;

uint16_t ReadU16(unsigned char const* bytes) {
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

uint32_t ReadU32(unsigned char const* bytes) {
    uint32_t value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

}  // namespace

// ---- Packets and queues ----

ParameterDialinComBase::Packet* ParameterDialinComBase::Packet::Make(unsigned char const* bytes,
                                                                     uint32_t length,
                                                                     uint32_t client) {
    auto* packet = new (std::nothrow) Packet;
    if (packet == nullptr) {
        return nullptr;
    }
    packet->client = client;
    if (length == 0 || length >= kBufferSize) {
        return packet;
    }
    packet->data = new (std::nothrow) unsigned char[length + 1];
    if (packet->data == nullptr) {
        delete packet;
        return nullptr;
    }
    std::memcpy(packet->data, bytes, length);
    packet->data[length] = 0;
    packet->length = length;
    return packet;
}

ParameterDialinComBase::Packet::~Packet() {
    delete[] data;
}

void ParameterDialinComBase::Signal::Set() {
    const std::lock_guard<std::mutex> lock(mutex);
    ready = true;
    changed.notify_all();
}

void ParameterDialinComBase::Signal::Wait(int timeoutSeconds) {
    std::unique_lock<std::mutex> lock(mutex);
    const auto isReady = [this] { return ready; };
    if (timeoutSeconds < 0) {
        changed.wait(lock, isReady);
    } else {
        changed.wait_for(lock, std::chrono::seconds(timeoutSeconds), isReady);
    }
}

void ParameterDialinComBase::Queue::Push(Packet* packet) {
    const std::lock_guard<std::mutex> lock(mutex);
    packet->next = nullptr;
    (last != nullptr ? last->next : first) = packet;
    last = packet;
    ++count;
}

ParameterDialinComBase::Packet* ParameterDialinComBase::Queue::Take() {
    const std::lock_guard<std::mutex> lock(mutex);
    Packet* packet = first;
    if (packet != nullptr) {
        first = packet->next;
        last = first != nullptr ? last : nullptr;
        --count;
    }
    return packet;
}

size_t ParameterDialinComBase::Queue::Count() {
    const std::lock_guard<std::mutex> lock(mutex);
    return count;
}

void ParameterDialinComBase::Queue::Clear() {
    while (Packet* packet = Take()) {
        delete packet;
    }
}

// ---- Starting and stopping ----

ParameterDialinComBase::ParameterDialinComBase(IParameterLoggingAPI* setManager)
    : m_logger(setManager), m_setManager(setManager) {
    if (setManager == nullptr) {
        PARAMETER_LOG_ERROR(
            m_logger, "ParameterDialinComBase constructed with a nullptr Set Manager object\n");
    }
}

ParameterDialinComBase::~ParameterDialinComBase() {
    m_requests.Clear();
    m_replies.Clear();
}

bool ParameterDialinComBase::IsStopping() {
    return std::atomic_ref<bool>(m_stop).load();
}

void ParameterDialinComBase::SetStop(bool stop) {
    std::atomic_ref<bool>(m_stop).store(stop);
}

std::thread* ParameterDialinComBase::StartThread(void (ParameterDialinComBase::*work)()) {
    try {
        return new std::thread(work, this);
    } catch (const std::exception& failure) {
        PARAMETER_LOG_ERROR(m_logger, "Dialin thread create failed: %s\n", failure.what());
        return nullptr;
    }
}

void ParameterDialinComBase::Start() {
    const std::lock_guard<std::mutex> lock(m_startMutex);
    if (m_readThread != nullptr || m_writeThread != nullptr) {
        return;
    }
    PARAMETER_LOG_DEBUG(m_logger, "Starting Dialin server: %s\n",
                        m_setManager != nullptr ? m_setManager->GetLogName() : "");
    SetStop(false);
    for (Signal* signal : {&m_requestReady, &m_writeReady, &m_readReady}) {
        const std::lock_guard<std::mutex> held(signal->mutex);
        signal->ready = false;
    }
    StartCom();
    m_readThread = StartThread(&ParameterDialinComBase::ReadWorker);
    m_writeThread = StartThread(&ParameterDialinComBase::WriteWorker);
}

void ParameterDialinComBase::Stop() {
    const std::lock_guard<std::mutex> lock(m_startMutex);
    SetStop(true);
    for (Signal* signal : {&m_requestReady, &m_writeReady, &m_readReady}) {
        signal->Set();
    }
    if (m_readThread == nullptr && m_writeThread == nullptr) {
        return;
    }
    PARAMETER_LOG_DEBUG(m_logger, "Stopping TCP/IP Dialin server: %s\n",
                        m_setManager != nullptr ? m_setManager->GetLogName() : "");
    EndConnection();
    for (std::thread** thread : {&m_readThread, &m_writeThread}) {
        if (*thread != nullptr) {
            (*thread)->join();
            delete *thread;
            *thread = nullptr;
        }
    }
    StopCom();
    m_requests.Clear();
    m_replies.Clear();
    m_fill = 0;
}

// ---- From bytes to requests ----

// Look at the first frame that is buffered; what is wrong with it is told on every look.
ParameterDialinComBase::Head ParameterDialinComBase::InspectHead(unsigned char maxCommand) {
    if (m_fill < kHeaderSize) {
        return Head::kIncomplete;
    }
    const unsigned int tag = ReadU16(m_buffer);
    const unsigned int command = ReadU16(m_buffer + 2);
    const unsigned int length = ReadU16(m_buffer + 4);
    if (tag != kStartTag) {
        PARAMETER_LOG_ERROR(m_logger,
                            "Dialin request missing start tag, Expected: %u, Received: %u: "
                            "0x%02x%02x%02x%02x%02x\n",
                            kStartTag, tag, m_buffer[0], m_buffer[1], m_buffer[2], m_buffer[3],
                            m_buffer[4]);
        m_fill = 0;
        return Head::kIncomplete;
    }
    if (command >= maxCommand) {
        PARAMETER_LOG_ERROR(m_logger, "Dialin request ID %u exceeds Max %u\n", command, maxCommand);
        return Head::kRefused;
    }
    if (length == 0) {
        PARAMETER_LOG_ERROR(m_logger, "Dialin request length is zero: 0x%02x%02x%02x%02x%02x\n",
                            m_buffer[0], m_buffer[1], m_buffer[2], m_buffer[3], m_buffer[4]);
        return Head::kRefused;
    }
    return length <= m_fill ? Head::kWhole : Head::kIncomplete;
}

unsigned int ParameterDialinComBase::DeliverHead(unsigned char* out, unsigned int size) {
    const unsigned int length = ReadU16(m_buffer + 4);
    const unsigned int delivered = std::min(length, size);
    std::memcpy(out, m_buffer, delivered);
    const bool hasId = length >= kPayloadOffset;
    char payload[kShownPayload + 1] = "";
    if (length > kPayloadOffset) {
        const auto shown = std::min<size_t>(length - kPayloadOffset, kShownPayload);
        std::memcpy(payload, m_buffer + kPayloadOffset, shown);
        payload[shown] = '\0';
    }
    PARAMETER_LOG_DEBUG(m_logger, "Dialin recv %u bytes, Command %d, ID: %u, Payload: %s\n", length,
                        ReadU16(m_buffer + 2), hasId ? ReadU32(m_buffer + kIdOffset) : 0u, payload);
    if (m_buffer[length - 1] != 0) {
        PARAMETER_LOG_ERROR(m_logger, "Dialin packet missing terminating nul character\n");
    }
    m_fill -= length;
    std::memmove(m_buffer, m_buffer + length, m_fill);
    return delivered;
}

// A refused frame would refuse the next client too; the begin of a good one waits for its rest.
void ParameterDialinComBase::ForgetClient(unsigned char maxCommand) {
    {
        const std::lock_guard<std::mutex> lock(m_clientMutex);
        ++m_client;
    }
    if (m_fill >= kHeaderSize &&
        (ReadU16(m_buffer + 2) >= maxCommand || ReadU16(m_buffer + 4) == 0)) {
        m_fill = 0;
    }
}

unsigned int ParameterDialinComBase::ReceiveDialinRequest(unsigned char* out, unsigned int size,
                                                          unsigned char maxCommand,
                                                          int timeoutSeconds, bool& stop) {
    const auto start = std::chrono::steady_clock::now();
    const std::chrono::seconds most(timeoutSeconds);
    for (;;) {
        if (InspectHead(maxCommand) == Head::kWhole) {
            return DeliverHead(out, size);
        }
        if (std::atomic_ref<bool>(stop).load() ||
            (timeoutSeconds >= 0 && std::chrono::steady_clock::now() - start >= most)) {
            return 0;
        }
        const int count = ReadData(m_buffer + m_fill, kBufferSize - m_fill, timeoutSeconds, stop);
        if (count > 0) {
            m_fill += std::min(static_cast<unsigned int>(count), kBufferSize - m_fill);
        } else if (count < 0) {
            ForgetClient(maxCommand);
        }
    }
}

void ParameterDialinComBase::WaitForRoom() {
    while (!IsStopping() && m_requests.Count() + m_replies.Count() >= kMostWaiting) {
        {
            const std::lock_guard<std::mutex> lock(m_readReady.mutex);
            m_readReady.ready = IsStopping();
        }
        if (m_requests.Count() + m_replies.Count() >= kMostWaiting) {
            m_readReady.Wait(m_timeout);
        }
    }
}

void ParameterDialinComBase::ReadWorker() {
    unsigned char frame[kBufferSize];
    while (!IsStopping()) {
        WaitForRoom();
        const unsigned int length =
            ReceiveDialinRequest(frame, sizeof frame, kMaxCommand, m_timeout, m_stop);
        if (length == 0) {
            continue;
        }
        Packet* packet = Packet::Make(frame, length, m_client);
        if (packet == nullptr) {
            PARAMETER_LOG_ERROR(m_logger, "Dialin failed to allocate a request of %u bytes\n",
                                length);
            continue;
        }
        m_requests.Push(packet);
        m_requestReady.Set();
    }
}

ParameterDialinComBase::Packet* ParameterDialinComBase::Read(int timeoutSeconds) {
    if (timeoutSeconds != 0 && m_requests.Count() == 0) {
        m_requestReady.Wait(timeoutSeconds);
    }
    Packet* packet = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_requestReady.mutex);
        packet = m_requests.Take();
        if (m_requests.Count() == 0) {
            m_requestReady.ready = IsStopping();
        }
    }
    m_readReady.Set();
    return packet;
}

// ---- From replies to bytes ----

void ParameterDialinComBase::QueueReply(Packet* reply) {
    if (reply != nullptr) {
        m_replies.Push(reply);
        m_writeReady.Set();
    }
}

ParameterDialinComBase::Packet* ParameterDialinComBase::TakeReply() {
    return m_replies.Take();
}

// The next client is accepted only after its number was drawn, which waits for a reply on its way.
bool ParameterDialinComBase::WriteToItsClient(Packet& reply) {
    const std::lock_guard<std::mutex> lock(m_clientMutex);
    if (reply.client != m_client) {
        return false;
    }
    WriteData(reply.data, reply.length);
    return true;
}

void ParameterDialinComBase::WriteWorker() {
    while (!IsStopping()) {
        Packet* reply = TakeReply();
        if (reply != nullptr) {
            if (reply->length < kLeastReply) {
                PARAMETER_LOG_ERROR(m_logger, "Dialin write insufficient buffer size %d\n",
                                    static_cast<int>(reply->length));
            } else if (WriteToItsClient(*reply)) {
                PARAMETER_LOG_DEBUG(m_logger, "Dialin write %d bytes, Command: %d\n",
                                    static_cast<int>(reply->length), reply->data[2]);
            }
            delete reply;
        }
        m_readReady.Set();
        {
            const std::lock_guard<std::mutex> lock(m_writeReady.mutex);
            if (m_replies.Count() > 0) {
                continue;
            }
            m_writeReady.ready = IsStopping();
        }
        m_writeReady.Wait(m_timeout);
    }
}
