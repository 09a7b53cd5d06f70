// How a race is written: the same work done by this library, by a peer and by what bounds it, in one process on the
// same data.
//
//   race({"jpeg.transform", "qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R", "photo", "block"}, "ours", blocks, bytes, round);
//   race({...same...}, "peer:libjpeg-turbo", blocks, bytes, peerRound);
//   race({...same...}, "bound:memcpy", blocks, bytes, boundRound);
//
// makes the benchmarks <family>/<work>/<data>/<runner>. Each round does `items` units of work and touches `bytes`
// bytes. scripts/bench reads these names, and puts the runners of one work side by side.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <utility>

namespace bench {

struct Work {
  std::string family;  // subsystem and family: "jpeg.transform"
  std::string name;    // the export, or the work where there is more than one export to it
  std::string data;    // the data: "L1", "L2", "memory", "photo-q75"
  std::string unit;    // what an item is: "block", "pixel", "sample", "byte"
};

template <typename Round>
void race(const Work& work, const std::string& runner, int64_t items, int64_t bytes, Round round) {
  const std::string name = work.family + '/' + work.name + '/' + work.data + '/' + runner;
  benchmark::RegisterBenchmark(name.c_str(), [=, unit = work.unit](benchmark::State& state) mutable {
    round();  // not timed: it may make its data, or touch memory for the first time
    for (auto _ : state) {
      round();
      benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(items * state.iterations());
    state.SetBytesProcessed(bytes * state.iterations());
    state.SetLabel(unit);
  });
}

}  // namespace bench
