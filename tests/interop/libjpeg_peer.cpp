#include "interop/libjpeg_peer.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <jpeglib.h>

namespace test {
namespace {

[[noreturn]] void raise(j_common_ptr cinfo) {
  char message[JMSG_LENGTH_MAX];
  cinfo->err->format_message(cinfo, message);
  throw std::runtime_error(message);
}

// Warnings have a level below 0; the rest is trace.
void onMessage(j_common_ptr cinfo, int level) {
  if (level < 0) raise(cinfo);
}

struct Compressor {
  jpeg_compress_struct cinfo{};
  jpeg_error_mgr errors{};
  unsigned char* bytes = nullptr;
  unsigned long size = 0;

  Compressor() {
    cinfo.err = jpeg_std_error(&errors);
    errors.error_exit = raise;
    errors.emit_message = onMessage;
    jpeg_create_compress(&cinfo);
    jpeg_mem_dest(&cinfo, &bytes, &size);
  }
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;
  ~Compressor() {
    jpeg_destroy_compress(&cinfo);
    std::free(bytes);
  }
};

struct Decompressor {
  jpeg_decompress_struct cinfo{};
  jpeg_error_mgr errors{};

  explicit Decompressor(std::span<const uint8_t> file) {
    cinfo.err = jpeg_std_error(&errors);
    errors.error_exit = raise;
    errors.emit_message = onMessage;
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, file.data(), file.size());
    jpeg_read_header(&cinfo, TRUE);
  }
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;
  ~Decompressor() { jpeg_destroy_decompress(&cinfo); }
};

// libjpeg keeps quantisers in natural order.
sample::QuantTable zigzag(const JQUANT_TBL& table) {
  sample::QuantTable out;
  size_t at = 0;
  for (int sum = 0; sum < 15; ++sum)
    for (int i = std::max(0, sum - 7); i <= std::min(sum, 7); ++i) {
      const int row = sum % 2 ? i : sum - i, column = sum - row;
      out[at++] = table.quantval[8 * row + column];
    }
  return out;
}

std::vector<jpeg_scan_info> peerScans(const sample::JpegScript& script) {
  std::vector<jpeg_scan_info> scans;
  for (const sample::JpegScanSpec& spec : script) {
    jpeg_scan_info& scan = scans.emplace_back();
    for (const size_t c : spec.components) scan.component_index[scan.comps_in_scan++] = static_cast<int>(c);
    scan.Ss = spec.ss, scan.Se = spec.se, scan.Ah = spec.ah, scan.Al = spec.al;
  }
  return scans;
}

void writeRows(jpeg_compress_struct& cinfo, const uint8_t* pixels, size_t step) {
  while (cinfo.next_scanline < cinfo.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(pixels + cinfo.next_scanline * step);
    jpeg_write_scanlines(&cinfo, &row, 1);
  }
}

void listHuffman(const JHUFF_TBL& table, std::vector<uint8_t>& counts, std::vector<uint8_t>& values) {
  counts.assign(table.bits + 1, table.bits + 17);
  size_t total = 0;
  for (const uint8_t count : counts) total += count;
  values.assign(table.huffval, table.huffval + total);
}

}  // namespace

std::vector<uint8_t> peerWrite(const sample::Picture& picture, const PeerOptions& options) {
  Compressor peer;
  jpeg_compress_struct& cinfo = peer.cinfo;
  cinfo.image_width = static_cast<JDIMENSION>(picture.width);
  cinfo.image_height = static_cast<JDIMENSION>(picture.height);
  cinfo.input_components = picture.channels;
  cinfo.in_color_space = picture.channels == 1 ? JCS_GRAYSCALE : picture.channels == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(&cinfo);
  if (options.rgb) jpeg_set_colorspace(&cinfo, JCS_RGB);
  if (options.ycck) jpeg_set_colorspace(&cinfo, JCS_YCCK);
  jpeg_set_quality(&cinfo, options.quality, options.byteQuantisers);
  for (int i = 0; picture.channels > 1 && i < picture.channels; ++i) {
    cinfo.comp_info[i].h_samp_factor = options.factors[static_cast<size_t>(i % 3)][0];  // black as luma
    cinfo.comp_info[i].v_samp_factor = options.factors[static_cast<size_t>(i % 3)][1];
  }
  cinfo.restart_interval = static_cast<unsigned>(options.restartInterval);
  cinfo.optimize_coding = options.optimised;
  cinfo.arith_code = options.coding == PeerCoding::kArithmetic;
  if (options.coding == PeerCoding::kProgressive) jpeg_simple_progression(&cinfo);
  jpeg_scan_info scans[4]{};
  for (int i = 0; i < 4; ++i) scans[i].comps_in_scan = 1, scans[i].component_index[0] = i, scans[i].Se = 63;
  if (!options.oneScan) cinfo.scan_info = scans, cinfo.num_scans = picture.channels;
  const std::vector<jpeg_scan_info> script = peerScans(options.script);
  if (!script.empty()) cinfo.scan_info = script.data(), cinfo.num_scans = static_cast<int>(script.size());
  jpeg_start_compress(&cinfo, TRUE);
  writeRows(cinfo, picture.pixels.data(), static_cast<size_t>(picture.step()));
  jpeg_finish_compress(&cinfo);
  return {peer.bytes, peer.bytes + peer.size};
}

sample::Picture peerRead(std::span<const uint8_t> file, const PeerReadOptions& options) {
  Decompressor peer(file);
  jpeg_decompress_struct& cinfo = peer.cinfo;
  cinfo.do_fancy_upsampling = options.fancyUpsampling;
  if (options.yCbCr) cinfo.out_color_space = cinfo.jpeg_color_space;
  cinfo.do_block_smoothing = options.blockSmoothing;
  cinfo.scale_denom = static_cast<unsigned>(options.scale);
  jpeg_start_decompress(&cinfo);
  sample::Picture picture(static_cast<int32_t>(cinfo.output_width), static_cast<int32_t>(cinfo.output_height),
                          cinfo.output_components);
  while (cinfo.output_scanline < cinfo.output_height) {
    JSAMPROW row = picture.row(static_cast<int32_t>(cinfo.output_scanline));
    jpeg_read_scanlines(&cinfo, &row, 1);
  }
  jpeg_finish_decompress(&cinfo);
  return picture;
}

std::vector<sample::Picture> peerReadPlanes(std::span<const uint8_t> file) {
  Decompressor peer(file);
  jpeg_decompress_struct& cinfo = peer.cinfo;
  cinfo.raw_data_out = TRUE;
  jpeg_start_decompress(&cinfo);
  const auto mcuHeight = static_cast<JDIMENSION>(8 * cinfo.max_v_samp_factor);
  const JDIMENSION mcusHigh = (cinfo.output_height + mcuHeight - 1) / mcuHeight;
  const JDIMENSION mcusWide = (cinfo.output_width + static_cast<JDIMENSION>(8 * cinfo.max_h_samp_factor) - 1) /
                              static_cast<JDIMENSION>(8 * cinfo.max_h_samp_factor);
  std::vector<sample::Picture> planes;
  for (int i = 0; i < cinfo.num_components; ++i) {
    const jpeg_component_info& c = cinfo.comp_info[i];
    planes.emplace_back(static_cast<int32_t>(mcusWide) * c.h_samp_factor * 8,
                        static_cast<int32_t>(mcusHigh) * c.v_samp_factor * 8, 1);
  }
  for (JDIMENSION mcuRow = 0; mcuRow < mcusHigh; ++mcuRow) {
    std::vector<JSAMPROW> rows[4];
    JSAMPARRAY arrays[4]{};
    for (size_t i = 0; i < planes.size(); ++i) {
      const int32_t high = 8 * cinfo.comp_info[i].v_samp_factor;
      for (int32_t y = 0; y < high; ++y) rows[i].push_back(planes[i].row(static_cast<int32_t>(mcuRow) * high + y));
      arrays[i] = rows[i].data();
    }
    jpeg_read_raw_data(&cinfo, arrays, mcuHeight);
  }
  jpeg_finish_decompress(&cinfo);
  return planes;
}

sample::JpegCoefficients peerReadCoefficients(std::span<const uint8_t> file) {
  Decompressor peer(file);
  jpeg_decompress_struct& cinfo = peer.cinfo;
  jvirt_barray_ptr* arrays = jpeg_read_coefficients(&cinfo);
  sample::JpegCoefficients out;
  out.frame.width = static_cast<int32_t>(cinfo.image_width);
  out.frame.height = static_cast<int32_t>(cinfo.image_height);
  out.restartInterval = static_cast<int32_t>(cinfo.restart_interval);
  for (int i = 0; i < cinfo.num_components; ++i) {
    const jpeg_component_info& c = cinfo.comp_info[i];
    out.frame.components.push_back(
        {static_cast<uint8_t>(c.component_id), c.h_samp_factor, c.v_samp_factor, static_cast<uint8_t>(c.quant_tbl_no)});
    out.quant.push_back(zigzag(*c.quant_table));
    auto& plane =
        out.planes.emplace_back(static_cast<int32_t>(c.width_in_blocks), static_cast<int32_t>(c.height_in_blocks));
    for (JDIMENSION row = 0; row < c.height_in_blocks; ++row) {
      const JBLOCKARRAY blocks =
          cinfo.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&cinfo), arrays[i], row, 1, FALSE);
      std::copy_n(&blocks[0][0][0], c.width_in_blocks * 64, plane.block(static_cast<int32_t>(row), 0));
    }
  }
  jpeg_finish_decompress(&cinfo);
  return out;
}

std::vector<uint8_t> peerWriteCoefficients(const sample::JpegCoefficients& coefficients,
                                           const sample::JpegScript& script) {
  Compressor peer;
  jpeg_compress_struct& cinfo = peer.cinfo;
  const sample::JpegFrame& frame = coefficients.frame;
  cinfo.image_width = static_cast<JDIMENSION>(frame.width);
  cinfo.image_height = static_cast<JDIMENSION>(frame.height);
  cinfo.input_components = static_cast<int>(frame.components.size());
  cinfo.in_color_space = cinfo.input_components == 1 ? JCS_GRAYSCALE : JCS_YCbCr;
  jpeg_set_defaults(&cinfo);
  cinfo.optimize_coding = TRUE;
  cinfo.restart_interval = static_cast<unsigned>(coefficients.restartInterval);
  const std::vector<jpeg_scan_info> scans = peerScans(script);
  if (!scans.empty()) cinfo.scan_info = scans.data(), cinfo.num_scans = static_cast<int>(scans.size());
  std::vector<jvirt_barray_ptr> arrays;
  const auto common = reinterpret_cast<j_common_ptr>(&cinfo);
  for (size_t i = 0; i < frame.components.size(); ++i) {
    const sample::BlockPlane& plane = coefficients.planes[i];
    cinfo.comp_info[i].h_samp_factor = frame.components[i].h;
    cinfo.comp_info[i].v_samp_factor = frame.components[i].v;
    arrays.push_back(cinfo.mem->request_virt_barray(
        common, JPOOL_IMAGE, FALSE, static_cast<JDIMENSION>(plane.blocksWide),
        static_cast<JDIMENSION>(plane.blocksHigh), static_cast<JDIMENSION>(frame.components[i].v)));
  }
  jpeg_write_coefficients(&cinfo, arrays.data());
  for (size_t i = 0; i < arrays.size(); ++i)
    for (int32_t row = 0; row < coefficients.planes[i].blocksHigh; ++row) {
      const JBLOCKARRAY to = cinfo.mem->access_virt_barray(common, arrays[i], static_cast<JDIMENSION>(row), 1, TRUE);
      std::copy_n(coefficients.planes[i].block(row, 0), coefficients.planes[i].blocksWide * 64, &to[0][0][0]);
    }
  jpeg_finish_compress(&cinfo);
  return {peer.bytes, peer.bytes + peer.size};
}

PeerTables peerTables() {
  Compressor peer;
  peer.cinfo.input_components = 3;
  peer.cinfo.in_color_space = JCS_RGB;
  jpeg_set_defaults(&peer.cinfo);
  jpeg_set_quality(&peer.cinfo, 50, TRUE);  // the typical tables unscaled
  PeerTables tables;
  for (size_t i = 0; i < 2; ++i) {
    tables.quant[i] = zigzag(*peer.cinfo.quant_tbl_ptrs[i]);
    listHuffman(*peer.cinfo.dc_huff_tbl_ptrs[i], tables.dcCounts[i], tables.dcValues[i]);
    listHuffman(*peer.cinfo.ac_huff_tbl_ptrs[i], tables.acCounts[i], tables.acValues[i]);
  }
  return tables;
}

}  // namespace test
