// SPDX-License-Identifier: Apache-2.0
// Live tuning over loopback: ports, starts and stops, peers of every kind, and the camera beside.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/dialin_fixture.hpp"
#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

namespace {

std::atomic<bool> no_tcp{false};

}  // namespace

extern "C" {
int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol) {
    if (domain == AF_INET && no_tcp) {
        errno = EAFNOSUPPORT;
        return -1;
    }
    return __real_socket(domain, type, protocol);
}
}

namespace {

/// A manager with a service, as an integrator gets it.
class ServedManager : public SampleManager {
  public:
    explicit ServedManager(bool file_mode = false) : SampleManager(file_mode) {
        ParameterDialinCom::LoopbackOnly = true;
        CreateWorker();
    }
    ~ServedManager() override { DeleteWorker(); }
    uint16_t Port() { return static_cast<ParameterDialinCom*>(GetWorker()->GetCom())->GetPort(); }
};

const Frame kInfo = RawFrame(0, "");

Frame GetNumber(uint32_t id) {
    return Request(5, id, "0.0|1.0|2.2:alpha:number");
}

class Peers : public testing::Test {
  protected:
    void Serve(ServedManager& manager) {
        tuning::Bytes bytes = SampleBytes();
        ASSERT_TRUE(manager.LoadBinaryParameters(bytes.data(), bytes.size()));
        ASSERT_NE(manager.Port(), 0);
    }
    LogLines _lines;
};

int ListenOn(uint16_t port) {
    const int taken = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (bind(taken, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(taken, 1) != 0) {
        close(taken);
        return -1;
    }
    return taken;
}

}  // namespace

TEST_F(Peers, TheServiceComesWithTheLoadAndGoesWithTheManager) {
    uint16_t port = 0;
    {
        ServedManager manager;
        EXPECT_EQ(manager.Port(), 0) << "nothing is served before a load";
        tuning::Bytes broken(400, 1);
        EXPECT_FALSE(manager.LoadBinaryParameters(broken.data(), broken.size()));
        EXPECT_EQ(manager.Port(), 0);
        Serve(manager);
        port = manager.Port();
        EXPECT_GE(port, 20803);
        EXPECT_LT(port, 20803 + 64);
        DialinClient client(port);
        EXPECT_EQ(TextAt(client.Ask(kInfo), 16), "sample");
        EXPECT_EQ(TextAt(client.Ask(GetNumber(1)), 10), "122");
        EXPECT_EQ(TextAt(client.Ask(Request(6, 2, "0.0:alpha:number=8")), 10), "8");
        EXPECT_EQ(manager.Get("0.0")->number, 8u);
    }
    EXPECT_FALSE(DialinClient(port).Connected());
    ServedManager silent;
    silent.SetStartService(false);
    tuning::Bytes bytes = SampleBytes();
    ASSERT_TRUE(silent.LoadBinaryParameters(bytes.data(), bytes.size()));
    EXPECT_EQ(silent.Port(), 0);
}

TEST_F(Peers, StartsAndStopsInAnyOrder) {
    ServedManager manager;
    ParameterDialinWorker& worker = *manager.GetWorker();
    worker.Stop();
    worker.Stop();
    Serve(manager);
    for (int round = 0; round < 3; ++round) {
        worker.Start();
        worker.Start();
        DialinClient client(manager.Port());
        EXPECT_EQ(TextAt(client.Ask(GetNumber(1)), 10), "122") << round;
        const auto begin = std::chrono::steady_clock::now();
        worker.Stop();
        worker.Stop();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
        EXPECT_EQ(client.Receive(), Frame()) << "the service hung up";
        EXPECT_EQ(manager.Port(), 0);
    }
    // Both at once, from two threads.
    std::thread starter([&] {
        for (int i = 0; i < 20; ++i) {
            worker.Start();
        }
    });
    for (int i = 0; i < 20; ++i) {
        worker.Stop();
    }
    starter.join();
    worker.Start();
    DialinClient client(manager.Port());
    EXPECT_EQ(TextAt(client.Ask(kInfo), 16), "sample");
}

TEST_F(Peers, APortInUseLeadsToTheNext) {
    ServedManager first;
    ServedManager second;
    Serve(first);
    Serve(second);
    EXPECT_GT(second.Port(), first.Port());
    DialinClient one(first.Port());
    DialinClient two(second.Port());
    EXPECT_NE(NumberAt(one.Ask(kInfo), 8, 8), NumberAt(two.Ask(kInfo), 8, 8));
    // A port that was left a moment ago is free for a restart.
    const uint16_t port = first.Port();
    first.GetWorker()->Stop();
    first.GetWorker()->Start();
    EXPECT_EQ(first.Port(), port);
}

TEST_F(Peers, NoPortAtAllIsNoServiceAndNoHarm) {
    ParameterDialinCom::UseInternalPort = true;
    std::vector<int> taken;
    for (uint16_t port = 33127; port < 33127 + 64; ++port) {
        taken.push_back(ListenOn(port));  // one that fails is somebody else's already
    }
    {
        ServedManager manager;
        tuning::Bytes bytes = SampleBytes();
        EXPECT_TRUE(manager.LoadBinaryParameters(bytes.data(), bytes.size()));
        EXPECT_EQ(manager.Port(), 0);
        EXPECT_EQ(_lines.Count("Dialin Server bind failed, Socket: "), 64u);
        EXPECT_EQ(_lines.Count("Dialin Failed to bind any ports"), 1u);
        EXPECT_EQ(manager.Get("0.0|1.0|2.2")->number, 122u);
        for (const int descriptor : taken) {
            close(descriptor);
        }
        manager.GetWorker()->Stop();
        manager.GetWorker()->Start();
        EXPECT_GE(manager.Port(), 33127);
    }
    ParameterDialinCom::UseInternalPort = false;
}

TEST_F(Peers, WithoutTcpThereIsAnAbstractName) {
    no_tcp = true;
    {
        ServedManager manager;
        Serve(manager);
        EXPECT_EQ(_lines.Count("Dialin Server INET socket create failed, Socket: -1, Port: 0x5143: "
                               "Result: -1, errno: "),
                  1u);
        char name[32];
        std::snprintf(name, sizeof name, "Dialin%x", manager.Port());
        EXPECT_GE(manager.Port(), 33127);
        DialinClient client{std::string(name)};
        ASSERT_TRUE(client.Connected());
        EXPECT_EQ(TextAt(client.Ask(GetNumber(1)), 10), "122");
        // The name is taken like a port.
        ServedManager second;
        Serve(second);
        EXPECT_GT(second.Port(), manager.Port());
    }
    ParameterDialinCom::UseInternalPort = true;
    ServedManager internal;
    tuning::Bytes bytes = SampleBytes();
    EXPECT_TRUE(internal.LoadBinaryParameters(bytes.data(), bytes.size()));
    EXPECT_EQ(internal.Port(), 0) << "this port has no such way around";
    ParameterDialinCom::UseInternalPort = false;
    no_tcp = false;
}

TEST(Addresses, NamesAndBytes) {
    ParameterDialinCom::LoopbackOnly = false;
    auto inet = ParameterDialinCom::SetupSocket(ParameterDialinCom::AddrType::kInet, 20803);
    sockaddr_in raw = {};
    std::memcpy(&raw, &inet.address, sizeof raw);
    EXPECT_STREQ(inet.name, "0x5143");
    EXPECT_EQ(inet.length, 16u);
    EXPECT_EQ(ntohs(raw.sin_port), 20803);
    EXPECT_EQ(raw.sin_addr.s_addr, 0u);
    ParameterDialinCom::LoopbackOnly = true;
    inet = ParameterDialinCom::SetupSocket(ParameterDialinCom::AddrType::kInet, 20803);
    std::memcpy(&raw, &inet.address, sizeof raw);
    EXPECT_EQ(ntohl(raw.sin_addr.s_addr), 0x7F000001u);
    const auto local = ParameterDialinCom::SetupSocket(ParameterDialinCom::AddrType::kUnix, 33127);
    sockaddr_un path = {};
    std::memcpy(&path, &local.address, sizeof path);
    EXPECT_STREQ(local.name, "#Dialin8167");
    EXPECT_EQ(local.length, 14u);
    EXPECT_EQ(path.sun_path[0], '\0');
    EXPECT_STREQ(path.sun_path + 1, "Dialin8167");
}

TEST_F(Peers, OneAfterTheOther) {
    ServedManager manager;
    Serve(manager);
    DialinClient first(manager.Port());
    ASSERT_EQ(TextAt(first.Ask(GetNumber(1)), 10), "122");
    DialinClient second(manager.Port());
    ASSERT_TRUE(second.Connected());
    ASSERT_TRUE(second.Send(GetNumber(2)));
    EXPECT_EQ(second.Receive(300), Frame()) << "it has to wait";
    EXPECT_EQ(TextAt(first.Ask(GetNumber(3)), 10), "122");
    first.Leave();
    const Frame reply = second.Receive();
    EXPECT_EQ(NumberAt(reply, 6, 4), 2u);
    // Half a frame stays for whoever comes next, as the protocol has it.
    const Frame frame = GetNumber(77);
    second.Send(Frame(frame.begin(), frame.begin() + 12));
    second.Leave();
    DialinClient third(manager.Port());
    EXPECT_EQ(NumberAt(third.Ask(Frame(frame.begin() + 12, frame.end())), 6, 4), 77u);
    // A refused frame goes with its client.
    third.Send(RawFrame(9, "stay"));
    third.Send(GetNumber(4));
    EXPECT_EQ(third.Receive(300), Frame()) << "nothing behind it is looked at";
    third.Leave();
    DialinClient fourth(manager.Port());
    EXPECT_EQ(NumberAt(fourth.Ask(GetNumber(5)), 6, 4), 5u);
}

TEST_F(Peers, AThousandConnects) {
    ServedManager manager;
    Serve(manager);

    for (int i = 0; i < 1000; ++i) {
        DialinClient client(manager.Port());
        ASSERT_TRUE(client.Connected()) << i;
        if (i % 3 == 0) {
            client.Send(RawFrame(9, "x"));
        } else if (i % 3 == 1) {
            client.Send(GetNumber(1));  // and away before the reply
        } else {
            client.LeaveInTurn();
        }
    }
    DialinClient client(manager.Port());
    ASSERT_TRUE(client.Connected());
    const Frame reply = client.Ask(GetNumber(4711));
    EXPECT_EQ(NumberAt(reply, 6, 4), 4711u) << "the first reply is the own one";
}

TEST_F(Peers, BytesOfNoProtocolAtAll) {
    ServedManager manager;
    Serve(manager);
    uint32_t state = 12345;
    for (int round = 0; round < 60; ++round) {
        DialinClient client(manager.Port());
        ASSERT_TRUE(client.Connected());
        Frame noise;
        while (noise.size() < 3000) {
            state = state * 1664525u + 1013904223u;
            if (state >> 28 < 3) {
                PutNumber(noise, 0x425A, 2);
                PutNumber(noise, state >> 8 & 15, 2);
                PutNumber(noise, state >> 12 & 127, 2);
            }
            noise.push_back(static_cast<uint8_t>(state >> 24));
        }
        client.Send(noise);
        client.LeaveInTurn();
    }
    // What was left of it may still stand before the first frame; a wrong tag clears that away.
    for (int attempt = 0; attempt < 20; ++attempt) {
        DialinClient client(manager.Port());
        client.Send(Frame(200, 0xFF));
        client.LeaveInTurn();
    }
    Frame reply;
    for (int attempt = 0; attempt < 5 && NumberAt(reply, 6, 4) != 99; ++attempt) {
        DialinClient client(manager.Port());
        client.Send(GetNumber(99));
        reply = client.Receive(1000);
    }
    EXPECT_EQ(NumberAt(reply, 6, 4), 99u);
    EXPECT_EQ(manager.Get("0.0")->number, 100u);
}

// A client that asks and asks and never reads: its requests stop being read, its connection ends
// after the time-out, and the next client is served. The camera sees nothing of it.
TEST_F(Peers, AClientThatNeverReads) {
    ServedManager manager;
    manager.GetWorker()->GetCom()->SetTimeout(1);
    Serve(manager);
    std::atomic<bool> stop{false};
    std::atomic<int64_t> slowest{0};
    std::thread camera([&] {
        while (!stop) {
            const auto begin = std::chrono::steady_clock::now();
            manager.Get("0.0|1.0|2.2");
            const int64_t took = std::chrono::duration_cast<std::chrono::milliseconds>(
                                     std::chrono::steady_clock::now() - begin)
                                     .count();
            slowest = std::max(slowest.load(), took);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    {
        DialinClient stuck(manager.Port());

        const Frame long_reply = Request(8, 1, std::string(60000, 'x'));
        struct Echo : IParameterDialinCustom {
            uint16_t ProcessCustom(unsigned char const*, unsigned int, unsigned int, unsigned char*,
                                   uint16_t& outputLength) override {
                outputLength = 60000;
                return 0;
            }
        } echo;
        manager.GetWorker()->SetCustomHandler(&echo);
        bool taken = true;
        for (int i = 0; i < 2000 && taken; ++i) {
            taken = stuck.Send(long_reply);
        }
        EXPECT_FALSE(taken) << "the connection was ended";
        stuck.Leave();
        // The begin of a request may be left, which the next client's first bytes complete: that
        // is its request then, and answered to it.
        DialinClient next(manager.Port());
        next.Send(Frame(60100, 0xFF));
        Frame reply;
        for (int attempt = 0; attempt < 10 && NumberAt(reply, 2, 2) != 5; ++attempt) {
            next.Send(GetNumber(5));
            reply = next.Receive(500);
        }
        EXPECT_EQ(NumberAt(reply, 6, 4), 5u);
        EXPECT_EQ(TextAt(reply, 10), "122");
        manager.GetWorker()->SetCustomHandler(nullptr);
    }
    stop = true;
    camera.join();
    EXPECT_LT(slowest, 500);
}

// Clients hammer while the camera fetches modules, and the file is replaced under both.
TEST_F(Peers, ServingAmongReadersAndReloads) {
    SampleFile disk;
    disk.Write(SampleBytes(SampleText(0)));
    ServedManager manager(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(disk.Name()));
    const uint16_t port = manager.Port();
    std::atomic<bool> stop{false};
    std::atomic<int> answered{0};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int tuner = 0; tuner < 2; ++tuner) {
        threads.emplace_back([&, tuner] {
            uint32_t id = 0;
            while (!stop) {
                DialinClient client(port);
                for (int i = 0; i < 20 && !stop; ++i) {
                    ++id;
                    const Frame reply =
                        client.Ask(i % 4 == 0   ? Request(6, id, "0.0|1.0:alpha:number=5")
                                   : i % 4 == 1 ? Request(4, id, "0.0|1.0|2.2:alpha")
                                   : i % 4 == 2 ? Request(3, id, "0.0|1.0")
                                                : GetNumber(id));
                    wrong += !reply.empty() && NumberAt(reply, 6, 4) != id;
                    answered += reply.empty() ? 0 : 1;
                }
            }
        });
    }
    threads.emplace_back([&] {
        SampleModule* module = nullptr;
        while (!stop) {
            module = manager.Get("0.0|1.0|2.2|3.2", "alpha", module);
            wrong += module == nullptr;
            std::this_thread::sleep_for(std::chrono::microseconds(300));
        }
        manager.ReleaseModule(module);
    });
    for (int round = 1; round <= 6; ++round) {
        disk.Write(SampleBytes(SampleText(round * 1000)));
        EXPECT_TRUE(manager.ReloadBinaryParameters(false));
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(answered, 10);
    EXPECT_EQ(manager.Port(), port) << "a reload does not start a second service";
}
