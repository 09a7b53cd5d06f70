// Blocks of quantised coefficients of photographs, as libjpeg-turbo makes them, and its entropy encoders for the races
// of the coders: what jpeglib.h does not give away is declared here.
#pragma once

#include <cstdio>
#include <cstdlib>
// jpeglib.h needs FILE.
#include <jpeglib.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "support/picture.h"

struct jpeg_entropy_encoder {
  void (*startPass)(j_compress_ptr cinfo, boolean gatherStatistics);
  boolean (*encodeMcu)(j_compress_ptr cinfo, JBLOCKROW* mcu);
  void (*finishPass)(j_compress_ptr cinfo);
};
extern "C" {
void jinit_huff_encoder(j_compress_ptr cinfo);
void jinit_phuff_encoder(j_compress_ptr cinfo);
}

namespace bench {

struct Block {
  alignas(32) int16_t coefficients[64];
  bool operator==(const Block& other) const { return std::equal(coefficients, coefficients + 64, other.coefficients); }
};
using Blocks = std::vector<Block>;

// Grey, or RGB with chroma of half the width and height, as a baseline file.
inline std::vector<uint8_t> compress(const sample::Picture& picture, int quality) {
  jpeg_compress_struct cinfo;
  jpeg_error_mgr errors;
  cinfo.err = jpeg_std_error(&errors);
  jpeg_create_compress(&cinfo);
  unsigned char* data = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&cinfo, &data, &size);
  cinfo.image_width = static_cast<JDIMENSION>(picture.width);
  cinfo.image_height = static_cast<JDIMENSION>(picture.height);
  cinfo.input_components = picture.channels;
  cinfo.in_color_space = picture.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&cinfo);
  jpeg_set_quality(&cinfo, quality, TRUE);
  jpeg_start_compress(&cinfo, TRUE);
  for (int32_t y = 0; y < picture.height; ++y) {
    std::vector<uint8_t> row(picture.row(y), picture.row(y) + picture.step());
    JSAMPROW rows[1] = {row.data()};
    jpeg_write_scanlines(&cinfo, rows, 1);
  }
  jpeg_finish_compress(&cinfo);
  jpeg_destroy_compress(&cinfo);
  std::vector<uint8_t> file(data, data + size);
  std::free(data);
  return file;
}

// A decoder that holds the coefficients of one file.
struct Coefficients {
  explicit Coefficients(const std::vector<uint8_t>& file) {
    cinfo.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&cinfo, TRUE);
    arrays = jpeg_read_coefficients(&cinfo);
  }
  Coefficients(const Coefficients&) = delete;
  ~Coefficients() { jpeg_destroy_decompress(&cinfo); }

  Block block(int component, JDIMENSION y, JDIMENSION x) {
    const auto common = reinterpret_cast<j_common_ptr>(&cinfo);
    Block result;
    std::memcpy(result.coefficients, cinfo.mem->access_virt_barray(common, arrays[component], y, 1, FALSE)[0][x],
                sizeof result.coefficients);
    return result;
  }
  // Those of the first component, row by row.
  Blocks blocks() {
    Blocks result;
    for (JDIMENSION y = 0; y < cinfo.comp_info[0].height_in_blocks; ++y)
      for (JDIMENSION x = 0; x < cinfo.comp_info[0].width_in_blocks; ++x) result.push_back(block(0, y, x));
    return result;
  }

  jpeg_decompress_struct cinfo;
  jpeg_error_mgr errors;
  jvirt_barray_ptr* arrays;
};

// An entropy encoder, set up for scans of one grey component.
struct EntropyEncoder {
  EntropyEncoder(bool progressive, size_t room) : buffer(room) {
    cinfo.err = jpeg_std_error(&errors);
    jpeg_create_compress(&cinfo);
    cinfo.image_width = cinfo.image_height = 8;
    cinfo.input_components = 1;
    cinfo.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&cinfo);
    cinfo.comps_in_scan = 1;
    cinfo.cur_comp_info[0] = &cinfo.comp_info[0];
    cinfo.blocks_in_MCU = 1;
    cinfo.MCU_membership[0] = 0;
    (progressive ? jinit_phuff_encoder : jinit_huff_encoder)(&cinfo);
  }
  EntropyEncoder(const EntropyEncoder&) = delete;
  ~EntropyEncoder() { jpeg_destroy_compress(&cinfo); }

  // Encodes into the buffer or gathers statistics, up to the end of the pass, where `cinfo.entropy->finishPass` flushes
  // bits or makes tables. The scan has zig-zag positions ss to se, bits ah (0 in a first scan) to al.
  template <typename Scan>
  void run(const Blocks& blocks, const Scan& scan, bool gather) {
    cinfo.Ss = scan.ss;
    cinfo.Se = scan.se;
    cinfo.Ah = scan.ah;
    cinfo.Al = scan.al;
    unsigned char* data = buffer.data();
    unsigned long size = static_cast<unsigned long>(buffer.size());
    jpeg_mem_dest(&cinfo, &data, &size);
    cinfo.dest->init_destination(&cinfo);
    cinfo.entropy->startPass(&cinfo, gather ? TRUE : FALSE);
    for (const Block& block : blocks) {
      // The declaration takes the block as writable; the function only reads it.
      JBLOCKROW mcu[1] = {const_cast<JBLOCK*>(reinterpret_cast<const JBLOCK*>(block.coefficients))};
      cinfo.entropy->encodeMcu(&cinfo, mcu);
    }
  }

  jpeg_compress_struct cinfo;
  jpeg_error_mgr errors;
  std::vector<uint8_t> buffer;
};

}  // namespace bench
