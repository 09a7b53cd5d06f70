// Races the gathering of Huffman statistics over the blocks of whole grey photographs, quantised at one quality,
// and the making of optimal tables from them. Peers are the statistics passes of libjpeg-turbo's sequential and
// progressive entropy encoders, called block by block just as its own coefficient controller calls them, and its table
// builder, which destroys its statistics and is given a copy each time. Tables are not made in the races of passes.
//
// Before anything is timed, the tables that both make of their own statistics are compared.
#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "libjpeg_blocks.h"
#include "qlmjp/jpeg.h"
#include "race.h"

extern "C" void jpeg_gen_optimal_table(j_compress_ptr cinfo, JHUFF_TBL* table, long frequencies[]);

namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "bench_jpeg_statistics: %s\n", what);
  std::exit(1);
}

using bench::Blocks, bench::Block;
using Statistics = std::array<int32_t, 256>;

// What is counted: a sequential scan, or zig-zag positions ss to se, bits ah (0 in a first scan) to al, of a
// progressive one.
struct Scan {
  const char* name;
  bool progressive;
  int ss, se, ah, al;
};
constexpr Scan kScans[] = {{"8x8", false, 0, 63, 0, 0},
                           {"8x8_DCFirst", true, 0, 0, 0, 1},
                           {"8x8_ACFirst", true, 1, 63, 0, 2},
                           {"8x8_ACRefine", true, 1, 63, 2, 1},
                           {"8x8_ACRefine", true, 1, 63, 1, 0}};

void gather(const Blocks& blocks, const Scan& scan, Statistics& dc, Statistics& ac) {
  dc.fill(0);
  ac.fill(0);
  int16_t lastDC = 0;
  if (!scan.progressive) {
    for (const Block& block : blocks)
      qlmiGetHuffmanStatistics8x8_JPEG_16s_C1(block.coefficients, dc.data(), ac.data(), &lastDC);
  } else if (scan.ss == 0) {
    for (const Block& block : blocks)
      qlmiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block.coefficients, dc.data(), &lastDC, scan.al);
  } else {
    const auto count = scan.ah == 0 ? qlmiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1
                                    : qlmiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1;
    QlmEncodeHuffmanState state;
    qlmiEncodeHuffmanStateInit_JPEG_8u(&state);
    for (const Block& block : blocks) count(block.coefficients, ac.data(), scan.ss, scan.se, scan.al, &state, 0);
    count(nullptr, ac.data(), scan.ss, scan.se, scan.al, &state, 1);
  }
}

struct Lists {
  uint8_t counts[16];
  uint8_t values[256];
};
void requireSameTable(const Statistics& statistics, const JHUFF_TBL* table) {
  Lists lists{};
  require(qlmiEncodeHuffmanRawTableInit_JPEG_8u(statistics.data(), lists.counts, lists.values) == qlmOk, "table");
  require(std::equal(lists.counts, lists.counts + 16, table->bits + 1), "counts of the table");
  size_t total = 0;
  for (const uint8_t count : lists.counts) total += count;
  require(std::equal(lists.values, lists.values + total, table->huffval), "values of the table");
}

void raceTables(const std::string& data, const Statistics& statistics) {
  const bench::Work work{"jpeg.statistics", "qlmiEncodeHuffmanRawTableInit_JPEG_8u", data, "table"};
  bench::race(work, "ours", 1, 1024, [statistics, lists = Lists{}]() mutable {
    qlmiEncodeHuffmanRawTableInit_JPEG_8u(statistics.data(), lists.counts, lists.values);
    benchmark::DoNotOptimize(lists);
  });
  std::array<long, 257> wide{};
  std::copy(statistics.begin(), statistics.end(), wide.begin());
  bench::race(work, "peer:libjpeg-turbo", 1, 1024,
              [wide, table = JHUFF_TBL{}, peer = std::make_shared<bench::EntropyEncoder>(false, 1)]() mutable {
                std::array<long, 257> copy = wide;
                jpeg_gen_optimal_table(&peer->cinfo, &table, copy.data());
                benchmark::DoNotOptimize(table);
              });
}

void registerRaces(int quality) {
  auto pictures = std::make_shared<std::vector<Blocks>>();
  int64_t total = 0;
  for (const auto& path : sample::photographs()) {
    pictures->push_back(
        bench::Coefficients(bench::compress(sample::toGrey(sample::readPicture(path)), quality)).blocks());
    total += static_cast<int64_t>(pictures->back().size());
  }
  require(!pictures->empty(), "no photographs found");

  for (const Scan& scan : kScans) {
    auto peer = std::make_shared<bench::EntropyEncoder>(scan.progressive, 1);
    Statistics dc, ac;
    for (const Blocks& blocks : *pictures) {
      gather(blocks, scan, dc, ac);
      peer->run(blocks, scan, true);
      peer->cinfo.entropy->finishPass(&peer->cinfo);
      if (scan.ss == 0) requireSameTable(dc, peer->cinfo.dc_huff_tbl_ptrs[0]);
      if (scan.se != 0) requireSameTable(ac, peer->cinfo.ac_huff_tbl_ptrs[0]);
    }

    const std::string name = std::string("qlmiGetHuffmanStatistics") + scan.name + "_JPEG_16s_C1";
    const std::string photo = "photo-q" + std::to_string(quality);
    const std::string data = scan.progressive ? photo + " Al=" + std::to_string(scan.al) : photo;
    const bench::Work work{"jpeg.statistics", name, data, "block"};
    bench::race(work, "ours", total, total * 128, [=]() mutable {
      for (const Blocks& blocks : *pictures) gather(blocks, scan, dc, ac);
      benchmark::DoNotOptimize(ac);
    });
    bench::race(work, "peer:libjpeg-turbo", total, total * 128, [=] {
      for (const Blocks& blocks : *pictures) peer->run(blocks, scan, true);
    });
    if (!scan.progressive) {
      raceTables(photo + " DC", dc);
      raceTables(photo + " AC", ac);
    }
  }
}

const int kRegistered = [] {
  for (const int quality : {75, 95}) registerRaces(quality);
  return 0;
}();

}  // namespace
