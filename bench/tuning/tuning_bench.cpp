// SPDX-License-Identifier: Apache-2.0
// Load and look-up against file size, and three ways to a CRC.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <zlib.h>

#include <map>

#include "bench/support/tuning_file.hpp"
#include "support/tuning_fixture.hpp"

namespace {

using bench::MakeFile;

void LoadBuffer(benchmark::State& state) {
    tuning::Bytes bytes = MakeFile(static_cast<uint32_t>(state.range(0)));
    size_t memory = 0;
    for (auto _ : state) {
        const size_t before = mallinfo2().uordblks;
        SampleManager manager;
        if (!manager.LoadBinaryParameters(bytes.data(), bytes.size())) {
            state.SkipWithError("the file does not load");
        }
        memory = mallinfo2().uordblks - before;
    }
    state.counters["file_bytes"] = static_cast<double>(bytes.size());
    state.counters["heap_bytes"] = static_cast<double>(memory);
}

void LoadFile(benchmark::State& state) {
    SampleFile disk;
    disk.Write(MakeFile(static_cast<uint32_t>(state.range(0))));
    uint64_t reads = 0;
    size_t memory = 0;
    for (auto _ : state) {
        const size_t before = mallinfo2().uordblks;
        SampleManager manager(true);
        if (!manager.LoadBinaryParameters(disk.Name())) {
            state.SkipWithError("the file does not load");
            break;
        }
        reads = manager.GetSymbolTable()->GetFile()->GetReadCount();
        memory = mallinfo2().uordblks - before;
    }
    state.counters["heap_bytes"] = static_cast<double>(memory);
    state.counters["file_reads"] = static_cast<double>(reads);
}

void GetLoadedModule(benchmark::State& state) {
    SampleFile disk;
    disk.Write(MakeFile(1000));
    SampleManager manager(state.range(0) != 0);
    manager.LoadBinaryParameters(disk.Name());
    const TuningMode branch[] = {{0, 0, 0}, {2, 5, 0}};
    ParameterModule* module = nullptr;
    for (auto _ : state) {
        module = manager.GetModule("alpha", branch, 2, module);
        benchmark::DoNotOptimize(module);
    }
    manager.ReleaseModule(module);
}

template <uint32_t (*Crc)(unsigned char const*, size_t)>
void CrcOf(benchmark::State& state) {
    const tuning::Bytes bytes = MakeFile(10000);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Crc(bytes.data(), bytes.size()));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

uint32_t ZlibCrc(unsigned char const* bytes, size_t count) {
    return static_cast<uint32_t>(crc32(0, bytes, static_cast<uInt>(count)));
}

BENCHMARK(LoadBuffer)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Arg(50000);
BENCHMARK(LoadFile)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Arg(50000);
BENCHMARK(GetLoadedModule)->ArgName("file_mode")->Arg(0)->Arg(1);
BENCHMARK(CrcOf<ParameterBinaryFile::ComputeCRC>)->Name("CrcSliced");
BENCHMARK(CrcOf<ParameterBinaryFile::ComputeCRCByTable>)->Name("CrcByTable");
BENCHMARK(CrcOf<ZlibCrc>)->Name("CrcZlib");

// Prints what the times of this run are to each other; a time alone says little.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            m_times[run.benchmark_name()] = run.GetAdjustedCPUTime();
            m_realTimes[run.benchmark_name()] = run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override {
        Print("GetLoadedModule/file_mode:0", "PlainMapLookUp");
        Print("GetLoadedModule/file_mode:1", "PlainMapLookUp");
        PrintReal("GetModuleBesideAClient/real_time", "GetModuleAlone/real_time");
        Print("CrcSliced", "CrcZlib");
        Print("CrcByTable", "CrcZlib");
        Print("LoadBuffer/50000", "LoadBuffer/10000");
        Print("LoadFile/50000", "LoadFile/10000");
        ConsoleReporter::Finalize();
    }

  private:
    using Times = std::map<std::string, double>;

    void Print(const char* one, const char* other) { PrintRatio(m_times, one, other); }
    // For what waits for locks or sockets.
    void PrintReal(const char* one, const char* other) { PrintRatio(m_realTimes, one, other); }
    static void PrintRatio(Times& times, const char* one, const char* other) {
        if (times.count(one) > 0 && times.count(other) > 0) {
            std::printf("%-32s / %-24s %8.2f\n", one, other, times[one] / times[other]);
        }
    }
    Times m_times;
    Times m_realTimes;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
