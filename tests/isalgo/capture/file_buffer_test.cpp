// SPDX-License-Identifier: Apache-2.0
// The writer behind every file: when lines reach the disk, and what a disk that takes none costs.
#include "capture/file_buffer.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "support/records.hpp"
#include "support/scratch_folder.hpp"

namespace steadywarp::test {
namespace {

TEST(FileBuffer, NamesItsFileByPrefixTypeAndName) {
    const ScratchFolder folder;
    const std::string longest(1024 - sizeof "./data/vendor/camera/_eis2_a.csv", 'x');
    const struct {
        std::string prefix;
        uint32_t type;
        uint32_t status;
        std::string path_or_message;
    } rows[] = {
        {"run", 4, 0, "./data/vendor/camera/run_eis2_a.csv"},
        {"run", 5, 0, "./data/vendor/camera/run_eis3_a.csv"},
        {"run", 6, 0, "./data/vendor/camera/run_distortion_correction_a.csv"},
        {"", 4, 0, "./data/vendor/camera/_eis2_a.csv"},
        {"run", 7, 0x08000000, "Failed to generate file name"},
        {longest + "x", 4, 0x08000000, "Failed to generate file name"},
        // Right for a path; longer than a file's name can be.
        {longest, 4, 0x08000000, "Failed to open: ./data/vendor/camera/" + longest + "_eis2_a.csv"},
        {"none/run", 4, 0x08000000, "Failed to open: ./data/vendor/camera/none/run_eis2_a.csv"},
    };
    for (const auto& row : rows) {
        uint32_t status = 0;
        std::string path;
        uint32_t failed = 0;
        const std::string log = log_of([&] {
            FileBuffer file(row.prefix.c_str(), row.type, "a.csv", 64, status);
            path = file.path();
            failed = file.print_line("x\n");
        });
        EXPECT_EQ(status, row.status) << row.path_or_message;
        EXPECT_EQ(failed, row.status == 0 ? 0u : 1u);
        if (row.status == 0) {
            EXPECT_EQ(path, row.path_or_message);
            EXPECT_EQ(read_text(path), "x\n");
        } else {
            EXPECT_EQ(count_of(log, "[ERR]  IS0002: V2: FileBuffer("), 1u) << log;
            EXPECT_EQ(count_of(log, row.path_or_message + "\n"), 1u) << log;
        }
    }
}

TEST(FileBuffer, WritesWhenMoreThanNineTenthsAreFull) {
    const ScratchFolder folder;
    uint32_t status = 0;
    FileBuffer file("run", 4, "a.csv", 100, status);
    ASSERT_EQ(status, 0u);
    const auto on_disk = [&file] { return read_text(file.path()).size(); };
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(file.print_line("%09d\n", i), 0u);
    }
    EXPECT_EQ(on_disk(), 0u) << "90 of 100";
    // Another ten bytes leave no room for the end of the text.
    EXPECT_EQ(file.print_line("%09d\n", 9), 0u);
    EXPECT_EQ(on_disk(), 90u);
    EXPECT_EQ(file.print_line("%0*d\n", 80, 10), 0u);
    EXPECT_EQ(on_disk(), 181u) << "91 of 100";
    EXPECT_EQ(file.print_line("kept\n"), 0u);
    const std::string log =
        log_of([&] { EXPECT_EQ(file.print_line("%0100d\n", 1), 1u) << "longer than the buffer"; });
    EXPECT_EQ(count_of(log, "IS0002"), 1u);
    EXPECT_EQ(count_of(log, "failed to write line"), 1u);
    EXPECT_EQ(file.print_line("%098d\n", 1), 0u) << "as long as the buffer can hold";
    EXPECT_EQ(file.flush_buffer(), 0u);
    EXPECT_EQ(on_disk(), 181u + 5u + 99u);
}

TEST(FileBuffer, LosesNothingThatADiskTakesLater) {
    const ScratchFolder folder;
    uint32_t status = 0;
    FileBuffer file("run", 4, "a.csv", 100, status);
    ASSERT_EQ(status, 0u);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {40, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    std::string expected;
    uint32_t failed = 0;
    for (int i = 0; i < 12; ++i) {
        char line[16];
        std::snprintf(line, sizeof line, "%09d\n", i);
        failed += file.print_line("%s", line);
        expected += line;
    }
    EXPECT_EQ(failed, 1u) << "the write ahead of the tenth line; then there is room again";
    EXPECT_EQ(file.flush_buffer(), 1u);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(file.flush_buffer(), 0u);
    EXPECT_EQ(read_text(file.path()), expected) << "once, and in its order";
}

TEST(FileBuffer, CountsEveryLineOnAFullDisk) {
    const ScratchFolder folder;
    std::filesystem::create_symlink("/dev/full", folder.captures() / "run_eis2_a.csv");
    std::string log = log_of([&] {
        uint32_t status = 0;
        FileBuffer file("run", 4, "a.csv", 100, status);
        ASSERT_EQ(status, 0u);
        uint32_t failed = 0;
        for (int i = 0; i < 30; ++i) {
            failed += file.print_line("%09d\n", i);
        }
        EXPECT_EQ(failed, 21u) << "nine fit into the buffer";
    });
    EXPECT_EQ(count_of(log, "failed to write line"), 21u);
    // Each of them tried the disk, and so did the end.
    EXPECT_EQ(count_of(log, "Failed to write to: "), 22u);
}

}  // namespace
}  // namespace steadywarp::test
