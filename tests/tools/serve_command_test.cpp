// SPDX-License-Identifier: Apache-2.0
// A run with the live tuning service up, and the client that changes its values.
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "support/command_runner.hpp"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using steadywarp::test::content;
using steadywarp::test::Outcome;
using Clock = std::chrono::steady_clock;

/// A command that goes on while the test does; ended at the latest with this object.
class Background {
  public:
    Background(const std::string& line, fs::path out) : out_(std::move(out)) {
        std::string whole = "exec " + line + " >" + out_.string() + " 2>" + out_.string() + ".err";
        char* const words[] = {const_cast<char*>("sh"), const_cast<char*>("-c"), whole.data(),
                               nullptr};
        EXPECT_EQ(posix_spawn(&pid_, "/bin/sh", nullptr, nullptr, words, environ), 0);
    }
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;
    ~Background() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    /// Standard output up to the end of the line that holds `text`; empty if it does not come.
    std::string wait_for(const std::string& text) const {
        for (const auto end = Clock::now() + std::chrono::seconds(20); Clock::now() < end;) {
            const std::string all = content(out_);
            const size_t at = all.find(text);
            const size_t line_end = at == std::string::npos ? at : all.find('\n', at);
            if (line_end != std::string::npos) {
                return all.substr(0, line_end + 1);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ADD_FAILURE() << "no " << text << " in " << content(out_)
                      << content(out_.string() + ".err");
        return {};
    }

    void interrupt() const { kill(pid_, SIGINT); }

    /// Exit status; -1 if a signal ended it.
    int wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    fs::path out_;
    pid_t pid_ = -1;
};

std::string word_behind(const std::string& text, const std::string& name) {
    const size_t at = text.find(name) + name.size();
    return text.substr(at, text.find_first_of(" \n", at) - at);
}

constexpr int kFrames = 120;
constexpr int kFirstUs = 1100000;
constexpr int kPeriodUs = 33333;

class Serve : public steadywarp::test::CommandTest {
  protected:
    void SetUp() override {
        CommandTest::SetUp();
        std::string gyro = "t_us,gx,gy,gz\n";
        for (int i = 0; i < 2200; ++i) {
            gyro += std::to_string(1000000 + i * 2000) + "," + rate(i, 0.071) + "," +
                    rate(i, 0.053) + "," + rate(i, 0.031) + "\n";
        }
        file("gyro.csv", gyro);
        file("frames.csv", frames_from(0));
        const std::string tuning = content(STEADYWARP_EXAMPLES "/phone.toml");
        ASSERT_EQ(run("tuning build " STEADYWARP_EXAMPLES "/phone.toml -o @/phone.bin").status, 0);
        const std::string margin = "{ f32 = 0.1 }";
        ASSERT_NE(tuning.find(margin), std::string::npos);
        file("narrow.toml",
             std::string(tuning).replace(tuning.find(margin), margin.size(), "{ f32 = 0.03 }"));
        ASSERT_EQ(run("tuning build @/narrow.toml -o @/narrow.bin").status, 0);
    }

    static std::string rate(int sample, double step) {
        return std::to_string(0.5 * std::sin(sample * step));
    }

    static std::string frames_from(int first) {
        std::string text = "frame,sof_us,exposure_us,readout_us\n";
        for (int i = first; i < kFrames; ++i) {
            text += std::to_string(i) + "," + std::to_string(kFirstUs + i * kPeriodUs) +
                    ",8000,20000\n";
        }
        return text;
    }

    std::string serving(const std::string& more = "") const {
        return with_folder(STEADYWARP_COMMAND
                           " stabilize --gyro @/gyro.csv --frames @/frames.csv --tuning "
                           "@/phone.bin --out @/live --serve" +
                           more);
    }

    /// The rows of frame `first` and later ones.
    std::string rows_from(const char* folder, int first) const {
        const std::string all = content(folder_ / folder / "warps.csv");
        return all.substr(std::min(all.size(), all.find("\n" + std::to_string(first) + ",")));
    }

    int set(const std::string& address, const std::string& pair) const {
        return run("tune " + address + " set Default eis13_sw tessaline_eis13_reserve.general." +
                   pair)
            .status;
    }
};

// From the frame on at which a value is taken the stream is what a stream with that tuning is that
// begins there; until then it is what it would have been, a refused value in between included.
TEST_F(Serve, TakesAChangedValueAtTheNextFrame) {
    const auto begun = Clock::now();
    Background stream(serving(), folder_ / "stream.txt");
    const std::string address = word_behind(stream.wait_for("serving "), "address=");
    ASSERT_EQ(address.find("127.0.0.1:"), 0u);
    EXPECT_NE(content(folder_ / "stream.txt").find(" mode=Default module=eis13_sw\n"),
              std::string::npos);
    const std::string all = run("tune " + address + " get Default eis13_sw").out;
    EXPECT_NE(all.find("\ntessaline_eis13_reserve.general.focal_length=1500\n"), std::string::npos)
        << "all fields of all structures: " << all;
    ASSERT_EQ(set(address, "focal_length=20"), 0);
    stream.wait_for("status=refused");
    ASSERT_EQ(set(address, "focal_length=1500"), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // some frames of the way back
    ASSERT_EQ(set(address, "minimal_total_margin=0.03"), 0);
    const std::string lines = stream.wait_for("status=taken");
    ASSERT_EQ(stream.wait(), 0) << content(folder_ / "stream.txt.err");
    const std::chrono::duration<double> took = Clock::now() - begun;
    EXPECT_GE(took.count(), (kFrames - 1) * kPeriodUs * 1e-6);
    const size_t taken_line = lines.rfind("tuning frame=");
    const int taken = std::stoi(word_behind(lines.substr(taken_line), "frame="));
    ASSERT_GT(taken, 0);
    ASSERT_LT(taken, kFrames - 10);
    EXPECT_EQ(content(folder_ / "stream.txt").rfind("tuning frame="), taken_line);

    file("tail.csv", frames_from(taken));
    ASSERT_EQ(run("stabilize --gyro @/gyro.csv --frames @/frames.csv --tuning @/phone.bin --out "
                  "@/before")
                  .status,
              0);
    ASSERT_EQ(run("stabilize --gyro @/gyro.csv --frames @/tail.csv --tuning @/narrow.bin --out "
                  "@/after")
                  .status,
              0);
    const std::string live = content(folder_ / "live/warps.csv");
    const std::string before = content(folder_ / "before/warps.csv");
    const std::string tail = rows_from("live", taken);
    ASSERT_FALSE(tail.empty());
    EXPECT_EQ(live.substr(0, live.size() - tail.size()),
              before.substr(0, before.size() - rows_from("before", taken).size()));
    EXPECT_EQ(tail, rows_from("after", taken));
    EXPECT_NE(tail, rows_from("before", taken));
}

TEST_F(Serve, EndsCleanlyAtAnInterruptWithAClientConnected) {
    Background stream(serving(), folder_ / "stream.txt");
    const std::string address = word_behind(stream.wait_for("serving "), "address=");
    Background client(STEADYWARP_COMMAND " tune " + address +
                          " watch Default eis13_sw "
                          "tessaline_eis13_reserve.general.focal_length --interval 0.05",
                      folder_ / "client.txt");
    client.wait_for(" 1500");
    stream.interrupt();
    const auto asked = Clock::now();
    EXPECT_EQ(stream.wait(), 130);
    EXPECT_LT(Clock::now() - asked, std::chrono::seconds(2));
    EXPECT_EQ(client.wait(), 2);
    EXPECT_FALSE(fs::exists(folder_ / "live")) << "nothing is left behind";
    EXPECT_EQ(run("tune " + address + " info").status, 2) << "nobody listens";
}

TEST_F(Serve, IsOpenToOthersOnlyWhenAsked) {
    const struct {
        const char* options;
        const char* host;
        int status;  ///< of a client that comes by another of the machine's addresses
    } rows[] = {{"", "127.0.0.1:", 2}, {" --serve-network", "0.0.0.0:", 0}};
    for (const auto& row : rows) {
        Background stream(serving(row.options), folder_ / "stream.txt");
        const std::string address = word_behind(stream.wait_for("serving "), "address=");
        EXPECT_EQ(address.find(row.host), 0u) << address;
        const std::string port = address.substr(address.find(':'));
        EXPECT_EQ(run("tune 127.0.0.1" + port + " info").status, 0) << row.options;
        EXPECT_EQ(run("tune 127.0.0.2" + port + " info").status, row.status) << row.options;
        stream.interrupt();
        EXPECT_EQ(stream.wait(), 130);
        fs::remove(folder_ / "stream.txt");
    }
}

}  // namespace
