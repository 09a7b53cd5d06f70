#include "jxrlib_codec.h"

#include <cstdlib>

// Its headers are for other systems too, and for C.
#define __ANSI__
extern "C" {
#include <JXRGlue.h>
}

namespace bench {
namespace {

void require(ERR error) {
  if (error != WMP_errSuccess) std::abort();
}

}  // namespace

size_t jxrlibEncode(const sample::Picture& picture, const JxrlibOptions& options, std::vector<uint8_t>& room) {
  WMPStream* stream = nullptr;
  require(CreateWS_Memory(&stream, room.data(), room.size()));
  PKImageEncode* encoder = nullptr;
  require(PKImageEncode_Create_WMP(&encoder));
  CWMIStrCodecParam parameters{};
  parameters.cfColorFormat = static_cast<COLORFORMAT>(options.components);
  parameters.bdBitDepth = BD_LONG;
  parameters.bfBitstreamFormat = SPATIAL;
  parameters.olOverlap = static_cast<OVERLAP>(options.overlap);
  parameters.sbSubband = SB_ALL;
  parameters.uiDefaultQPIndex = static_cast<U8>(options.quantiser);
  require(encoder->Initialize(encoder, stream, &parameters, sizeof parameters));
  require(encoder->SetPixelFormat(encoder,
                                  picture.channels == 1 ? GUID_PKPixelFormat8bppGray : GUID_PKPixelFormat24bppRGB));
  require(encoder->SetSize(encoder, picture.width, picture.height));
  require(encoder->SetResolution(encoder, 96, 96));
  require(encoder->WritePixels(encoder, static_cast<U32>(picture.height), const_cast<U8*>(picture.row(0)),
                               static_cast<U32>(picture.step())));
  const auto bytes = static_cast<size_t>(encoder->WMP.nOffImage + encoder->WMP.nCbImage);
  require(encoder->Release(&encoder));  // and the stream
  return bytes;
}

void jxrlibDecode(const std::vector<uint8_t>& file, sample::Picture& picture) {
  WMPStream* stream = nullptr;
  require(CreateWS_Memory(&stream, const_cast<uint8_t*>(file.data()), file.size()));
  PKImageDecode* decoder = nullptr;
  require(PKImageDecode_Create_WMP(&decoder));
  require(decoder->Initialize(decoder, stream));
  CWMImageInfo& image = decoder->WMP.wmiI;
  const bool colour = picture.channels == 3;
  image.cfColorFormat = colour ? CF_RGB : Y_ONLY;
  image.bRGB = 1;
  image.bdBitDepth = BD_8;
  image.cBitsPerUnit = colour ? 24 : 8;
  image.cROIWidth = image.cThumbnailWidth = static_cast<size_t>(picture.width);
  image.cROIHeight = image.cThumbnailHeight = static_cast<size_t>(picture.height);
  const PKRect all = {0, 0, picture.width, picture.height};
  require(decoder->Copy(decoder, &all, picture.row(0), static_cast<U32>(picture.step())));
  require(decoder->Release(&decoder));
  require(stream->Close(&stream));
}

}  // namespace bench
