// SPDX-License-Identifier: Apache-2.0
// Load and look-up against file size, beside a plain hash map and zlib's CRC in the same run.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <zlib.h>

#include "support/tuning_fixture.hpp"

namespace {

// `records` modules spread over 64 modes, each with a text and four numbers of its own.
tuning::Bytes MakeFile(uint32_t records) {
    tuning::Image image;
    const uint32_t modes = std::min(records, 64u);
    for (uint32_t mode = 0; mode < modes; ++mode) {
        image.modes.push_back({mode, static_cast<uint16_t>(mode == 0 ? 0 : 2),
                               static_cast<uint16_t>(mode), 0, tuning::kNone, 0});
    }
    const auto put = [&image](uint32_t value) {
        for (int i = 0; i < 4; ++i) {
            image.data.push_back(static_cast<uint8_t>(value >> (8 * i)));
        }
    };
    const auto end = [&image] { return static_cast<uint32_t>(image.data.size()); };
    for (uint32_t record = 1; record <= records; ++record) {
        const uint32_t text = 2 * record - 1;
        image.symbols.push_back({record, "alpha", {1, 2, 3}, record % modes, end(), 20, record});
        for (const uint32_t value : {record, 4u, text, 4u, text + 1}) {
            put(value);
        }
        image.data_rows.push_back({text, end(), 4, text});
        put(0x00747874);
        image.data_rows.push_back({text + 1, end(), 16, text + 1});
        for (uint32_t i = 0; i < 4; ++i) {
            put(record + i);
        }
    }
    return tuning::Encode(image);
}

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
    for (auto _ : state) {
        SampleManager manager(true);
        if (!manager.LoadBinaryParameters(disk.Name())) {
            state.SkipWithError("the file does not load");
            break;
        }
        reads = manager.GetSymbolTable()->GetFile()->GetReadCount();
    }
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

void PlainMapLookUp(benchmark::State& state) {
    std::unordered_map<std::string, int> map = {{"alpha", 1}, {"beta", 2}};
    for (auto _ : state) {
        benchmark::DoNotOptimize(map.find("alpha"));
    }
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
BENCHMARK(PlainMapLookUp);
BENCHMARK(CrcOf<ParameterBinaryFile::ComputeCRC>)->Name("CrcSliced");
BENCHMARK(CrcOf<ParameterBinaryFile::ComputeCRCByTable>)->Name("CrcByTable");
BENCHMARK(CrcOf<ZlibCrc>)->Name("CrcZlib");

}  // namespace

BENCHMARK_MAIN();
