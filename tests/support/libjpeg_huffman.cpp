#include "support/libjpeg_huffman.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
// libjpeg's header needs the two above.
#include <jpeglib.h>

#include <algorithm>
#include <span>
#include <stdexcept>

namespace test {
namespace {

// A compressor whose errors end in an exception; libjpeg-turbo is built to let it pass.
class Compressor {
 public:
  Compressor() {
    cinfo.err = jpeg_std_error(&errors_);
    errors_.error_exit = [](j_common_ptr common) {
      char text[JMSG_LENGTH_MAX];
      common->err->format_message(common, text);
      throw std::runtime_error(text);
    };
    jpeg_create_compress(&cinfo);
  }
  ~Compressor() { jpeg_destroy_compress(&cinfo); }
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;

  jpeg_compress_struct cinfo{};

 private:
  jpeg_error_mgr errors_{};
};

// Walks the marker segments to the first scan and returns what lies between its header and EOI.
std::vector<uint8_t> firstScan(std::span<const uint8_t> file) {
  size_t at = 2;
  for (;;) {
    const uint8_t marker = file[at + 1];
    at += 2 + static_cast<size_t>(file[at + 2] * 256 + file[at + 3]);
    if (marker == 0xDA) break;
  }
  return {file.begin() + static_cast<ptrdiff_t>(at), file.end() - 2};
}

// The file of these coefficients, without subsampling.
std::vector<uint8_t> fileOf(std::span<const std::vector<CoefficientBlock>> planes, int32_t blocksAcross,
                            uint32_t restartInterval, bool optimal, const std::vector<LibjpegScanHeader>& script) {
  Compressor compressor;
  jpeg_compress_struct& cinfo = compressor.cinfo;
  const auto across = static_cast<JDIMENSION>(blocksAcross);
  const auto down = static_cast<JDIMENSION>(planes[0].size() / across);
  cinfo.image_width = across * 8;
  cinfo.image_height = down * 8;
  cinfo.input_components = static_cast<int>(planes.size());
  cinfo.in_color_space = planes.size() == 1 ? JCS_GRAYSCALE : JCS_YCbCr;
  jpeg_set_defaults(&cinfo);
  for (int i = 0; i < cinfo.num_components; ++i)
    cinfo.comp_info[i].h_samp_factor = cinfo.comp_info[i].v_samp_factor = 1;
  cinfo.restart_interval = restartInterval;
  cinfo.optimize_coding = optimal;
  std::vector<jpeg_scan_info> scans;
  for (const LibjpegScanHeader& header : script)
    scans.push_back({1, {}, header.first, header.last, header.high, header.low});
  if (!scans.empty()) {
    cinfo.scan_info = scans.data();
    cinfo.num_scans = static_cast<int>(scans.size());
  }

  unsigned char* bytes = nullptr;
  unsigned long length = 0;
  jpeg_mem_dest(&cinfo, &bytes, &length);
  auto* common = reinterpret_cast<j_common_ptr>(&cinfo);
  std::array<jvirt_barray_ptr, 3> arrays{};
  for (size_t i = 0; i < planes.size(); ++i)
    arrays[i] = cinfo.mem->request_virt_barray(common, JPOOL_IMAGE, TRUE, across, down, 1);
  jpeg_write_coefficients(&cinfo, arrays.data());
  for (size_t i = 0; i < planes.size(); ++i) {
    for (JDIMENSION y = 0; y < down; ++y) {
      JBLOCKARRAY row = cinfo.mem->access_virt_barray(common, arrays[i], y, 1, TRUE);
      for (JDIMENSION x = 0; x < across; ++x) std::copy_n(planes[i][y * across + x].begin(), 64, row[0][x]);
    }
  }
  jpeg_finish_compress(&cinfo);
  std::vector<uint8_t> file(bytes, bytes + length);
  std::free(bytes);
  return file;
}

}  // namespace

HuffmanLists typicalTable(TypicalTable which) {
  Compressor compressor;
  compressor.cinfo.input_components = 3;
  compressor.cinfo.in_color_space = JCS_YCbCr;
  jpeg_set_defaults(&compressor.cinfo);
  const bool ac = which == TypicalTable::LuminanceAC || which == TypicalTable::ChrominanceAC;
  const size_t index = which == TypicalTable::ChrominanceDC || which == TypicalTable::ChrominanceAC ? 1 : 0;
  const JHUFF_TBL* table = (ac ? compressor.cinfo.ac_huff_tbl_ptrs : compressor.cinfo.dc_huff_tbl_ptrs)[index];
  HuffmanLists lists;
  std::copy_n(table->bits + 1, 16, lists.counts.begin());
  size_t total = 0;
  for (const uint8_t count : lists.counts) total += count;
  lists.values.assign(table->huffval, table->huffval + total);
  return lists;
}

std::vector<uint8_t> libjpegScan(const std::vector<CoefficientBlock>& blocks, int32_t blocksAcross,
                                 uint32_t restartInterval) {
  return firstScan(fileOf({&blocks, 1}, blocksAcross, restartInterval, false, {}));
}

std::vector<uint8_t> libjpegScan(const std::array<std::vector<CoefficientBlock>, 3>& planes, int32_t blocksAcross,
                                 uint32_t restartInterval) {
  return firstScan(fileOf(planes, blocksAcross, restartInterval, false, {}));
}

std::vector<LibjpegScan> libjpegOptimalScans(const std::vector<CoefficientBlock>& blocks, int32_t blocksAcross,
                                             const std::vector<LibjpegScanHeader>& script, uint32_t restartInterval) {
  const std::vector<uint8_t> file = fileOf({&blocks, 1}, blocksAcross, restartInterval, true, script);
  std::vector<LibjpegScan> scans;
  LibjpegScan scan;
  size_t at = 2;
  while (file[at + 1] != 0xD9) {
    const uint8_t marker = file[at + 1];
    const size_t end = at + 2 + static_cast<size_t>(file[at + 2] * 256 + file[at + 3]);
    if (marker == 0xC4) {  // libjpeg-turbo gives each table a segment of its own
      HuffmanLists& lists = file[at + 4] & 0xF0 ? scan.ac : scan.dc;
      std::copy_n(file.begin() + static_cast<ptrdiff_t>(at) + 5, 16, lists.counts.begin());
      lists.values.assign(file.begin() + static_cast<ptrdiff_t>(at) + 21, file.begin() + static_cast<ptrdiff_t>(end));
    }
    at = end;
    if (marker != 0xDA) continue;
    scan.segments.assign(1, {});
    for (;; ++at) {
      if (file[at] == 0xFF && file[at + 1] != 0) {
        if (file[at + 1] < 0xD0 || file[at + 1] > 0xD7) break;
        scan.segments.emplace_back();
        ++at;
      } else {
        scan.segments.back().push_back(file[at]);
      }
    }
    scans.push_back(scan);
  }
  return scans;
}

}  // namespace test
