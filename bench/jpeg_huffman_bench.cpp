// Races the baseline Huffman block coders over the blocks of whole photographs: one round codes every block of all
// pictures, quantised at one quality with 4:2:0 chroma, in the order of the scan. Peers are libjpeg-turbo's vector
// block encoder, called block by block as its own entropy coder calls it, and its whole scans from and to memory by
// jpeg_write_coefficients and jpeg_read_coefficients. Before anything is timed, the segments of all three are compared
// byte by byte and the decoded blocks with the coefficients.
#include <cstring>
#include <memory>
#include <vector>

#include "libjpeg_blocks.h"
#include "qlmjp/jpeg.h"
#include "race.h"

// libjpeg-turbo's block encoder and the leading fields of its state and tables, which jpeglib.h keeps to itself.
extern "C" {
struct TurboTable {
  unsigned int codes[256];
  char lengths[256];
};
struct TurboState {
  JOCTET* nextOutputByte;
  size_t freeInBuffer;
  uint64_t putBuffer;
  int freeBits;
  int lastDC[4];
  j_compress_ptr cinfo;
  int simd;
};
JOCTET* jsimd_huff_encode_one_block_sse2(void* state, JOCTET* buffer, JCOEFPTR block, int lastDC,
                                         const TurboTable* dcTable, const TurboTable* acTable);
}

namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "bench_jpeg_huffman: %s\n", what);
  std::exit(1);
}

using bench::Block, bench::Coefficients;

struct Tables {
  QlmEncodeHuffmanSpec encode[2];  // DC, AC
  QlmDecodeHuffmanSpec decode[2];
  TurboTable turbo[2];
};

// One picture: its JPEG file, its blocks in the order of the scan, and the segment behind the scan header.
struct Scan {
  std::vector<uint8_t> file;
  std::vector<uint8_t> segment;
  std::vector<Block> blocks;
  std::vector<uint8_t> components;
};

struct Photographs {
  std::vector<Scan> scans;
  Tables tables[2];  // luminance, chrominance
  int64_t blocks = 0;
  int64_t bytes = 0;
};

void buildTables(Tables& tables, JHUFF_TBL* const lists[2]) {
  for (int i = 0; i < 2; ++i) {
    const uint8_t* counts = lists[i]->bits + 1;
    const uint8_t* values = lists[i]->huffval;
    require(qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, values, &tables.encode[i]) == qlmOk, "encoder table");
    require(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, values, &tables.decode[i]) == qlmOk, "decoder table");
    for (int symbol = 0; symbol < 256; ++symbol) {
      tables.turbo[i].codes[symbol] = tables.encode[i].codes[symbol] & 0xFFFF;
      tables.turbo[i].lengths[symbol] = static_cast<char>(tables.encode[i].codes[symbol] >> 16);
    }
  }
}

void gatherBlocks(Coefficients& source, Scan& scan) {
  const JDIMENSION mcuColumns = (source.cinfo.image_width + 15) / 16;
  const JDIMENSION mcuRows = (source.cinfo.image_height + 15) / 16;
  for (JDIMENSION mcuY = 0; mcuY < mcuRows; ++mcuY) {
    for (JDIMENSION mcuX = 0; mcuX < mcuColumns; ++mcuX) {
      for (int c = 0; c < 3; ++c) {
        const JDIMENSION size = c == 0 ? 2 : 1;
        for (JDIMENSION i = 0; i < size * size; ++i) {
          scan.blocks.push_back(source.block(c, mcuY * size + i / size, mcuX * size + i % size));
          scan.components.push_back(static_cast<uint8_t>(c));
        }
      }
    }
  }
}

// Encodes all blocks, with the flush, and returns the length.
int32_t encode(const Scan& scan, const Tables* tables, std::vector<uint8_t>& segment) {
  QlmEncodeHuffmanState state;
  qlmiEncodeHuffmanStateInit_JPEG_8u(&state);
  int32_t position = 0;
  int16_t lastDC[3] = {};
  const int32_t length = static_cast<int32_t>(segment.size());
  for (size_t i = 0; i < scan.blocks.size(); ++i) {
    const int c = scan.components[i];
    const Tables& t = tables[c != 0];
    qlmiEncodeHuffman8x8_JPEG_16s1u_C1(scan.blocks[i].coefficients, segment.data(), length, &position, &lastDC[c],
                                       &t.encode[0], &t.encode[1], &state, 0);
  }
  qlmiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, segment.data(), length, &position, nullptr, nullptr, nullptr, &state, 1);
  return position;
}

int32_t encodeDirect(const Scan& scan, const Tables* tables, std::vector<uint8_t>& segment) {
  int32_t position = 0;
  int16_t lastDC[3] = {};
  for (size_t i = 0; i < scan.blocks.size(); ++i) {
    const int c = scan.components[i];
    const Tables& t = tables[c != 0];
    qlmiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(scan.blocks[i].coefficients, segment.data(), &position, &lastDC[c],
                                              &t.encode[0], &t.encode[1]);
  }
  if (position & 7) segment[static_cast<size_t>(position >> 3)] |= static_cast<uint8_t>(0xFF >> (position & 7));
  return (position + 7) >> 3;
}

int32_t encodeTurbo(const Scan& scan, const Tables* tables, std::vector<uint8_t>& segment) {
  TurboState state = {};
  state.freeBits = 64;
  JOCTET* next = segment.data();
  for (size_t i = 0; i < scan.blocks.size(); ++i) {
    const int c = scan.components[i];
    const Tables& t = tables[c != 0];
    // The declaration takes the block as writable; the function only reads it.
    auto* const block = const_cast<int16_t*>(scan.blocks[i].coefficients);
    next = jsimd_huff_encode_one_block_sse2(&state, next, block, state.lastDC[c], &t.turbo[0], &t.turbo[1]);
    state.lastDC[c] = block[0];
  }
  int pending = 64 - state.freeBits;
  for (; pending > 0; pending -= 8) {
    const uint64_t bits =
        pending >= 8 ? state.putBuffer >> (pending - 8) : state.putBuffer << (8 - pending) | (0xFFu >> pending);
    *next++ = static_cast<JOCTET>(bits);
    if (next[-1] == 0xFF) *next++ = 0;
  }
  return static_cast<int32_t>(next - segment.data());
}

// False where a block does not decode.
bool decode(const Scan& scan, const Tables* tables, std::vector<Block>& blocks) {
  QlmDecodeHuffmanState state;
  qlmiDecodeHuffmanStateInit_JPEG_8u(&state);
  int32_t position = 0;
  int32_t marker = 0;
  int16_t lastDC[3] = {};
  const int32_t length = static_cast<int32_t>(scan.segment.size());
  QlmStatus status = qlmOk;
  for (size_t i = 0; i < scan.blocks.size() && status == qlmOk; ++i) {
    const int c = scan.components[i];
    const Tables& t = tables[c != 0];
    status = qlmiDecodeHuffman8x8_JPEG_1u16s_C1(scan.segment.data(), length, &position, blocks[i].coefficients,
                                                &lastDC[c], &marker, &t.decode[0], &t.decode[1], &state);
  }
  return status == qlmOk;
}

bool decodeDirect(const Scan& scan, const Tables* tables, std::vector<Block>& blocks) {
  int32_t position = 0;
  int32_t marker = 0;
  uint32_t bits = 0;
  int32_t count = 0;
  int16_t lastDC[3] = {};
  QlmStatus status = qlmOk;
  for (size_t i = 0; i < scan.blocks.size() && status == qlmOk; ++i) {
    const int c = scan.components[i];
    const Tables& t = tables[c != 0];
    status = qlmiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(scan.segment.data(), &position, blocks[i].coefficients,
                                                       &lastDC[c], &marker, &bits, &count, &t.decode[0], &t.decode[1]);
  }
  return status == qlmOk;
}

// Writes the coefficients of a picture as a whole file into a buffer of its own.
struct Writer {
  explicit Writer(const Scan& scan) : source(scan.file), buffer(scan.file.size() + 65536) {
    cinfo.err = jpeg_std_error(&errors);
    jpeg_create_compress(&cinfo);
  }
  Writer(const Writer&) = delete;
  ~Writer() { jpeg_destroy_compress(&cinfo); }
  unsigned long write() {
    unsigned char* data = buffer.data();
    unsigned long size = static_cast<unsigned long>(buffer.size());
    jpeg_mem_dest(&cinfo, &data, &size);
    jpeg_copy_critical_parameters(&source.cinfo, &cinfo);
    jpeg_write_coefficients(&cinfo, source.arrays);
    jpeg_finish_compress(&cinfo);
    return size;
  }
  Coefficients source;
  std::vector<uint8_t> buffer;
  jpeg_compress_struct cinfo;
  jpeg_error_mgr errors;
};

// Prepares all photographs and proves that the runners do the same work.
std::shared_ptr<Photographs> prepare(int quality) {
  auto photos = std::make_shared<Photographs>();
  for (const auto& path : sample::photographs()) {
    Scan scan;
    scan.file = bench::compress(sample::readPicture(path), quality);
    Coefficients source(scan.file);
    gatherBlocks(source, scan);
    for (int i = 0; i < 2; ++i) {
      JHUFF_TBL* const lists[2] = {source.cinfo.dc_huff_tbl_ptrs[i], source.cinfo.ac_huff_tbl_ptrs[i]};
      buildTables(photos->tables[i], lists);
    }

    // The file ends with the segment and the two bytes of EOI.
    scan.segment.resize(scan.file.size() + 64);
    const auto fileHolds = [&](const std::vector<uint8_t>& segment, int32_t length) {
      return std::memcmp(segment.data(), scan.file.data() + scan.file.size() - 2 - static_cast<size_t>(length),
                         static_cast<size_t>(length)) == 0;
    };
    const int32_t length = encode(scan, photos->tables, scan.segment);
    require(fileHolds(scan.segment, length), "encoded segment differs from the file");
    std::vector<uint8_t> other(scan.segment.size() + 1024);
    require(encodeDirect(scan, photos->tables, other) == length && fileHolds(other, length), "Direct encoder");
    std::fill(other.begin(), other.end(), 0);
    require(encodeTurbo(scan, photos->tables, other) == length && fileHolds(other, length), "peer's block encoder");
    scan.segment.assign(scan.file.end() - 2 - length, scan.file.end());

    std::vector<Block> decoded(scan.blocks.size());
    require(decode(scan, photos->tables, decoded) && decoded == scan.blocks, "decoded blocks differ");
    std::fill(decoded.begin(), decoded.end(), Block{});
    require(decodeDirect(scan, photos->tables, decoded) && decoded == scan.blocks, "Direct decoder");

    photos->blocks += static_cast<int64_t>(scan.blocks.size());
    photos->bytes += length;
    photos->scans.push_back(std::move(scan));
  }
  require(!photos->scans.empty(), "no photographs found");
  return photos;
}

void registerRaces(int quality) {
  const std::shared_ptr<Photographs> photos = prepare(quality);
  const std::string data = "photo-q" + std::to_string(quality);
  std::printf("%s: %lld blocks of %.1f bytes\n", data.c_str(), static_cast<long long>(photos->blocks),
              static_cast<double>(photos->bytes) / static_cast<double>(photos->blocks));

  const auto encodeRound = [photos](auto coder) {
    size_t largest = 0;
    for (const Scan& scan : photos->scans) largest = std::max(largest, scan.segment.size());
    return [=, segment = std::vector<uint8_t>(largest + 1024)]() mutable {
      for (const Scan& scan : photos->scans) benchmark::DoNotOptimize(coder(scan, photos->tables, segment));
    };
  };
  const auto decodeRound = [photos](auto coder) {
    return [=, blocks = std::vector<Block>(photos->scans.front().blocks.size())]() mutable {
      for (const Scan& scan : photos->scans) {
        blocks.resize(scan.blocks.size());
        benchmark::DoNotOptimize(coder(scan, photos->tables, blocks));
      }
    };
  };
  auto writers = std::make_shared<std::vector<std::unique_ptr<Writer>>>();
  for (const Scan& scan : photos->scans) writers->push_back(std::make_unique<Writer>(scan));

  const auto writeRound = [writers] {
    for (const auto& writer : *writers) benchmark::DoNotOptimize(writer->write());
  };
  const auto readRound = [photos] {
    for (const Scan& scan : photos->scans) {
      Coefficients coefficients(scan.file);
      benchmark::DoNotOptimize(coefficients.arrays);
    }
  };

  const auto enter = [&](const char* name, const char* runner, auto round) {
    bench::race({"jpeg.huffman", name, data, "block"}, runner, photos->blocks, photos->bytes, round);
  };
  enter("qlmiEncodeHuffman8x8_JPEG_16s1u_C1", "ours", encodeRound(encode));
  enter("qlmiEncodeHuffman8x8_JPEG_16s1u_C1", "peer:libjpeg-turbo", encodeRound(encodeTurbo));
  enter("qlmiEncodeHuffman8x8_JPEG_16s1u_C1", "peer:libjpeg-turbo scan", writeRound);
  enter("qlmiEncodeHuffman8x8_Direct_JPEG_16s1u_C1", "ours", encodeRound(encodeDirect));
  enter("qlmiEncodeHuffman8x8_Direct_JPEG_16s1u_C1", "peer:libjpeg-turbo", encodeRound(encodeTurbo));
  enter("qlmiDecodeHuffman8x8_JPEG_1u16s_C1", "ours", decodeRound(decode));
  enter("qlmiDecodeHuffman8x8_JPEG_1u16s_C1", "peer:libjpeg-turbo scan", readRound);
  enter("qlmiDecodeHuffman8x8_Direct_JPEG_1u16s_C1", "ours", decodeRound(decodeDirect));
  enter("qlmiDecodeHuffman8x8_Direct_JPEG_1u16s_C1", "peer:libjpeg-turbo scan", readRound);
}

const int kRegistered = [] {
  for (const int quality : {75, 95}) registerRaces(quality);
  return 0;
}();

}  // namespace
