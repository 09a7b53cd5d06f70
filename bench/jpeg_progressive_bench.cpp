// Races the progressive Huffman coders over the blocks of whole grey photographs, quantised at one quality, scan by
// scan: the DC coefficients without their lowest bit and that bit, all AC coefficients without their two lowest bits
// and then those bits one by one. Peer is libjpeg-turbo's progressive entropy coder, called block by block and scan by
// scan just as its own coefficient controllers call it, with the same tables, which its statistics pass has made. The
// decoder of an AC refinement is given each block as the scans before have left it; copying it there is timed for both.
//
// The races of whole scripts code all these scans of a picture, against jpeg_write_coefficients and
// jpeg_read_coefficients to and from memory. Both make their optimal tables while encoding.
//
// Before anything is timed, the segments of both are compared byte by byte and the decoded blocks with the
// coefficients.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "libjpeg_blocks.h"
#include "qlmjp/jpeg.h"
#include "race.h"

// libjpeg-turbo's progressive entropy decoder, which jpeglib.h keeps to itself.
struct jpeg_entropy_decoder {
  void (*startPass)(j_decompress_ptr cinfo);
  boolean (*decodeMcu)(j_decompress_ptr cinfo, JBLOCKROW* mcu);
  boolean insufficientData;
};
extern "C" void jinit_phuff_decoder(j_decompress_ptr cinfo);

namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "bench_jpeg_progressive: %s\n", what);
  std::exit(1);
}

using bench::Block, bench::Blocks, bench::Coefficients;

// One scan of a component: zig-zag positions ss to se, bits ah (0 in a first scan) to al.
struct Scan {
  int ss, se, ah, al;
  bool isDc() const { return ss == 0; }
  bool isFirst() const { return ah == 0; }
  bool hasSymbols() const { return !isDc() || isFirst(); }
  // Whether what is read depends on what the scans before have brought.
  bool needsBlocks() const { return !isDc() && !isFirst(); }
};
constexpr Scan kScans[] = {{0, 0, 0, 1}, {0, 0, 1, 0}, {1, 63, 0, 2}, {1, 63, 2, 1}, {1, 63, 1, 0}};

// What a decoder holds once all scans up to bit `al` of the coefficients are read.
Block shifted(const Block& block, const Scan& scan, int al) {
  Block result{};
  for (int i = 0; i < 64; ++i) {
    const int v = block.coefficients[i];
    if ((i == 0) != scan.isDc()) continue;
    const int magnitude = i == 0 ? v >> al << al : std::abs(v) >> al << al;
    result.coefficients[i] = static_cast<int16_t>(i != 0 && v < 0 ? -magnitude : magnitude);
  }
  return result;
}

// Gathers statistics and makes tables, or encodes. Returns the length of the segment.
size_t runScan(bench::EntropyEncoder& encoder, const Blocks& blocks, const Scan& scan, bool gather) {
  encoder.run(blocks, scan, gather);
  encoder.cinfo.entropy->finishPass(&encoder.cinfo);
  return encoder.buffer.size() - encoder.cinfo.dest->free_in_buffer;
}

// The entropy decoder of libjpeg-turbo.
struct PeerDecoder {
  PeerDecoder() {
    cinfo.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&cinfo);
    cinfo.num_components = cinfo.comps_in_scan = cinfo.blocks_in_MCU = 1;
    cinfo.comp_info = &component;
    cinfo.cur_comp_info[0] = &component;
    jinit_phuff_decoder(&cinfo);
  }
  PeerDecoder(const PeerDecoder&) = delete;
  ~PeerDecoder() { jpeg_destroy_decompress(&cinfo); }

  void run(const std::vector<uint8_t>& segment, const Scan& scan, JHUFF_TBL* table, const Blocks& before,
           Blocks& after) {
    cinfo.Ss = scan.ss;
    cinfo.Se = scan.se;
    cinfo.Ah = scan.ah;
    cinfo.Al = scan.al;
    cinfo.dc_huff_tbl_ptrs[0] = cinfo.ac_huff_tbl_ptrs[0] = table;
    // What the scans before have brought, which the start of a scan checks.
    std::fill_n(cinfo.coef_bits[0], 64, scan.isFirst() ? -1 : scan.ah);
    if (!scan.isDc()) cinfo.coef_bits[0][0] = 0;
    cinfo.unread_marker = 0;
    jpeg_mem_src(&cinfo, segment.data(), static_cast<unsigned long>(segment.size()));
    cinfo.src->init_source(&cinfo);
    cinfo.entropy->insufficientData = FALSE;
    cinfo.entropy->startPass(&cinfo);
    for (size_t i = 0; i < before.size(); ++i) {
      if (scan.needsBlocks()) after[i] = before[i];
      JBLOCKROW mcu[1] = {reinterpret_cast<JBLOCK*>(after[i].coefficients)};
      cinfo.entropy->decodeMcu(&cinfo, mcu);
    }
    cinfo.dc_huff_tbl_ptrs[0] = cinfo.ac_huff_tbl_ptrs[0] = nullptr;
  }

  jpeg_decompress_struct cinfo;
  jpeg_component_info component{};
  jpeg_error_mgr errors;
};

// One scan of one picture, ready to be coded by everyone.
struct Segment {
  Scan scan;
  const Blocks* blocks;
  Blocks before;  // what the decoder starts from
  std::vector<uint8_t> bytes;
  JHUFF_TBL table{};
  QlmEncodeHuffmanSpec encode;
  QlmDecodeHuffmanSpec decode;
};

QlmStatus encodeBlock(const Segment& s, const int16_t* block, std::vector<uint8_t>& bytes, int32_t& position,
                      int16_t& lastDC, QlmEncodeHuffmanState& state, int32_t flush) {
  const int32_t length = static_cast<int32_t>(bytes.size());
  const Scan& scan = s.scan;
  if (scan.isDc()) {
    return scan.isFirst() ? qlmiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, bytes.data(), length, &position, &lastDC,
                                                                       scan.al, &s.encode, &state, flush)
                          : qlmiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, bytes.data(), length, &position, scan.al,
                                                                        &state, flush);
  }
  return (scan.isFirst() ? qlmiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1 : qlmiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1)(
      block, bytes.data(), length, &position, scan.ss, scan.se, scan.al, &s.encode, &state, flush);
}

int32_t encode(const Segment& segment, std::vector<uint8_t>& bytes) {
  QlmEncodeHuffmanState state;
  qlmiEncodeHuffmanStateInit_JPEG_8u(&state);
  int32_t position = 0;
  int16_t lastDC = 0;
  for (const Block& block : *segment.blocks)
    encodeBlock(segment, block.coefficients, bytes, position, lastDC, state, 0);
  encodeBlock(segment, nullptr, bytes, position, lastDC, state, 1);
  return position;
}

// Gathers statistics and makes an optimal table.
void makeTable(const Segment& s, QlmEncodeHuffmanSpec& table) {
  QlmEncodeHuffmanState state;
  qlmiEncodeHuffmanStateInit_JPEG_8u(&state);
  int32_t statistics[256] = {};
  int16_t lastDC = 0;
  const Scan& scan = s.scan;
  if (scan.isDc()) {
    for (const Block& block : *s.blocks) {
      qlmiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block.coefficients, statistics, &lastDC, scan.al);
    }
  } else {
    const auto count = scan.isFirst() ? qlmiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1
                                      : qlmiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1;
    for (const Block& block : *s.blocks) count(block.coefficients, statistics, scan.ss, scan.se, scan.al, &state, 0);
    count(nullptr, statistics, scan.ss, scan.se, scan.al, &state, 1);
  }
  uint8_t counts[16], values[256];
  qlmiEncodeHuffmanRawTableInit_JPEG_8u(statistics, counts, values);
  qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, values, &table);
}

// Decodes a scan into blocks that hold what the scans before have brought, or if `restore` is set are made to first.
// False where a block does not decode.
bool decode(const Segment& s, Blocks& after, bool restore) {
  QlmDecodeHuffmanState state;
  qlmiDecodeHuffmanStateInit_JPEG_8u(&state);
  const int32_t length = static_cast<int32_t>(s.bytes.size());
  const Scan& scan = s.scan;
  int32_t position = 0, marker = 0;
  int16_t lastDC = 0;
  const auto each = [&](auto decodeBlock) {
    for (size_t i = 0; i < s.before.size(); ++i) {
      if (restore) after[i] = s.before[i];
      if (decodeBlock(after[i].coefficients) != qlmOk) return false;
    }
    return true;
  };
  const uint8_t* const bytes = s.bytes.data();
  if (scan.isDc() && scan.isFirst()) {
    return each([&](int16_t* block) {
      return qlmiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(bytes, length, &position, block, &lastDC, &marker, scan.al,
                                                        &s.decode, &state);
    });
  }
  if (scan.isDc()) {
    return each([&](int16_t* block) {
      return qlmiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(bytes, length, &position, block, &marker, scan.al, &state);
    });
  }
  const auto decodeBand =
      scan.isFirst() ? qlmiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1 : qlmiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1;
  return each([&](int16_t* block) {
    return decodeBand(bytes, length, &position, block, &marker, scan.ss, scan.se, scan.al, &s.decode, &state);
  });
}

// Writes coefficients as a progressive file and returns its length.
unsigned long writeScript(Coefficients& source, std::vector<uint8_t>& buffer) {
  jpeg_compress_struct target;
  target.err = jpeg_std_error(&source.errors);
  jpeg_create_compress(&target);
  unsigned char* data = buffer.data();
  unsigned long size = static_cast<unsigned long>(buffer.size());
  jpeg_mem_dest(&target, &data, &size);
  jpeg_copy_critical_parameters(&source.cinfo, &target);
  jpeg_scan_info script[std::size(kScans)] = {};
  for (size_t i = 0; i < std::size(kScans); ++i) {
    script[i] = {1, {0}, kScans[i].ss, kScans[i].se, kScans[i].ah, kScans[i].al};
  }
  target.scan_info = script;
  target.num_scans = std::size(kScans);
  jpeg_write_coefficients(&target, source.arrays);
  jpeg_finish_compress(&target);
  jpeg_destroy_compress(&target);
  return size;
}

struct Photographs {
  std::vector<std::unique_ptr<Coefficients>> sources;  // by picture, as the next two
  std::vector<std::unique_ptr<Blocks>> pictures;
  std::vector<std::vector<uint8_t>> files;                            // progressive
  std::vector<std::unique_ptr<Segment>> segments[std::size(kScans)];  // by scan, one a picture
  std::unique_ptr<bench::EntropyEncoder> encoder;
  std::unique_ptr<PeerDecoder> decoder;
};

// Makes a segment and proves that the runners do the same work.
std::unique_ptr<Segment> prepare(const Blocks& blocks, const Scan& scan, bench::EntropyEncoder& encoder,
                                 PeerDecoder& decoder) {
  auto segment = std::make_unique<Segment>();
  segment->scan = scan;
  segment->blocks = &blocks;
  runScan(encoder, blocks, scan, true);
  JHUFF_TBL** const tables = scan.isDc() ? encoder.cinfo.dc_huff_tbl_ptrs : encoder.cinfo.ac_huff_tbl_ptrs;
  segment->table = *tables[0];
  const uint8_t* const counts = segment->table.bits + 1;
  require(qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, segment->table.huffval, &segment->encode) == qlmOk,
          "encoder table");
  require(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, segment->table.huffval, &segment->decode) == qlmOk,
          "decoder table");

  const size_t length = runScan(encoder, blocks, scan, false);
  std::vector<uint8_t> ours(length + 64);
  require(encode(*segment, ours) == static_cast<int32_t>(length), "length of the segment");
  require(std::equal(ours.begin(), ours.begin() + static_cast<ptrdiff_t>(length), encoder.buffer.begin()),
          "bytes of the segment");
  segment->bytes.assign(encoder.buffer.begin(), encoder.buffer.begin() + static_cast<ptrdiff_t>(length));
  segment->bytes.insert(segment->bytes.end(), {0xFF, 0xD9});

  Blocks expected;
  for (const Block& block : blocks) {
    segment->before.push_back(scan.isFirst() ? Block{} : shifted(block, scan, scan.ah));
    expected.push_back(shifted(block, scan, scan.al));
  }
  Blocks after = segment->before, peerAfter = segment->before;
  require(decode(*segment, after, false) && after == expected, "decoded blocks");
  decoder.run(segment->bytes, scan, &segment->table, segment->before, peerAfter);
  require(peerAfter == expected, "blocks of the peer");
  return segment;
}

void registerScripts(const std::shared_ptr<Photographs>& photos, const std::string& data, size_t most) {
  int64_t blocks = 0, bytes = 0;
  for (size_t i = 0; i < photos->pictures.size(); ++i) {
    blocks += static_cast<int64_t>(photos->pictures[i]->size());
    bytes += static_cast<int64_t>(photos->files[i].size());
    Blocks after(photos->pictures[i]->size());
    for (const auto& segments : photos->segments) require(decode(*segments[i], after, false), "script");
    require(after == *photos->pictures[i] && Coefficients(photos->files[i]).blocks() == after, "blocks of a script");
  }
  const auto enter = [&](const char* name, const char* runner, auto round) {
    bench::race({"jpeg.progressive", name, data, "block"}, runner, blocks, bytes, round);
  };
  enter("whole script, encoding", "ours", [photos, buffer = std::vector<uint8_t>(most * 256)]() mutable {
    for (const auto& segments : photos->segments) {
      for (const auto& segment : segments) {
        if (segment->scan.hasSymbols()) makeTable(*segment, segment->encode);
        benchmark::DoNotOptimize(encode(*segment, buffer));
      }
    }
  });
  enter("whole script, encoding", "peer:libjpeg-turbo", [photos, buffer = std::vector<uint8_t>(most * 256)]() mutable {
    for (const auto& source : photos->sources) benchmark::DoNotOptimize(writeScript(*source, buffer));
  });
  enter("whole script, decoding", "ours", [photos] {
    for (size_t i = 0; i < photos->pictures.size(); ++i) {
      Blocks after(photos->pictures[i]->size());
      for (const auto& segments : photos->segments) benchmark::DoNotOptimize(decode(*segments[i], after, false));
    }
  });
  enter("whole script, decoding", "peer:libjpeg-turbo", [photos] {
    for (const auto& file : photos->files) {
      Coefficients coefficients(file);
      benchmark::DoNotOptimize(coefficients.arrays);
    }
  });
}

void registerRaces(int quality) {
  auto photos = std::make_shared<Photographs>();
  size_t most = 0;
  for (const auto& path : sample::photographs()) {
    photos->sources.push_back(
        std::make_unique<Coefficients>(bench::compress(sample::toGrey(sample::readPicture(path)), quality)));
    photos->pictures.push_back(std::make_unique<Blocks>(photos->sources.back()->blocks()));
    most = std::max(most, photos->pictures.back()->size());
    std::vector<uint8_t> buffer(most * 256);
    buffer.resize(writeScript(*photos->sources.back(), buffer));
    photos->files.push_back(buffer);
  }
  require(!photos->pictures.empty(), "no photographs found");
  photos->encoder = std::make_unique<bench::EntropyEncoder>(true, most * 256);
  photos->decoder = std::make_unique<PeerDecoder>();

  for (size_t s = 0; s < std::size(kScans); ++s) {
    const Scan& scan = kScans[s];
    int64_t blocks = 0, bytes = 0;
    for (const auto& picture : photos->pictures) {
      photos->segments[s].push_back(prepare(*picture, scan, *photos->encoder, *photos->decoder));
      blocks += static_cast<int64_t>(picture->size());
      bytes += static_cast<int64_t>(photos->segments[s].back()->bytes.size()) - 2;
    }
    const std::string kind = std::string(scan.isDc() ? "DC" : "AC") + (scan.isFirst() ? "First" : "Refine");
    const std::string data = "photo-q" + std::to_string(quality) + " Al=" + std::to_string(scan.al);
    std::printf("%s %s: %lld blocks of %.2f bytes\n", kind.c_str(), data.c_str(), static_cast<long long>(blocks),
                static_cast<double>(bytes) / static_cast<double>(blocks));

    const auto enter = [&](const std::string& name, const char* runner, auto round) {
      bench::race({"jpeg.progressive", name, data, "block"}, runner, blocks, bytes, round);
    };
    const std::string encoder = "qlmiEncodeHuffman8x8_" + kind + "_JPEG_16s1u_C1";
    enter(encoder, "ours", [photos, s, buffer = std::vector<uint8_t>(most * 256)]() mutable {
      for (const auto& segment : photos->segments[s]) benchmark::DoNotOptimize(encode(*segment, buffer));
    });
    enter(encoder, "peer:libjpeg-turbo", [photos, s] {
      for (const auto& segment : photos->segments[s]) {
        JHUFF_TBL** const tables =
            segment->scan.isDc() ? photos->encoder->cinfo.dc_huff_tbl_ptrs : photos->encoder->cinfo.ac_huff_tbl_ptrs;
        *tables[0] = segment->table;
        benchmark::DoNotOptimize(runScan(*photos->encoder, *segment->blocks, segment->scan, false));
      }
    });
    const std::string decoder = "qlmiDecodeHuffman8x8_" + kind + "_JPEG_1u16s_C1";
    enter(decoder, "ours", [photos, s, after = Blocks(most)]() mutable {
      for (const auto& segment : photos->segments[s]) {
        benchmark::DoNotOptimize(decode(*segment, after, segment->scan.needsBlocks()));
      }
    });
    enter(decoder, "peer:libjpeg-turbo", [photos, s, after = Blocks(most)]() mutable {
      for (const auto& segment : photos->segments[s]) {
        photos->decoder->run(segment->bytes, segment->scan, &segment->table, segment->before, after);
        benchmark::DoNotOptimize(after.data());
      }
    });
  }
  registerScripts(photos, "photo-q" + std::to_string(quality), most);
}

const int kRegistered = [] {
  for (const int quality : {75, 95}) registerRaces(quality);
  return 0;
}();

}  // namespace
