#include <cstdio>

#include "media/ffmpeg.h"
#include "media/input/source_depth.h"
#include "media/probe/clip_description.h"

namespace kalvetra {

namespace {

// Bits a pixel below which codecs leave visible blocks; rules of thumb.
double leanestBits(const ClipDescription& clip) {
  if (clip.intraOnly) return 0.5;
  const bool modern = clip.codec == "hevc" || clip.codec == "av1" || clip.codec == "vp9";
  return modern ? 0.04 : 0.06;
}

bool isYuv(const ClipDescription& clip) { return clip.chroma.find(':') != std::string::npos; }

std::string rangeRisk(const ClipDescription& clip) {
  const std::string taken = clip.range.origin == Origin::Tagged ? "tagged" : "taken for";
  if (clip.rangeDoubt == RangeDoubt::LooksLimited) {
    return "the range is " + taken +
           " full, but black and white lie at 16 and 235: it looks limited, and blacks will " + "be grey";
  }
  return "the range is " + taken + " limited, but much of the picture is darker than its black: it looks full, and " +
         "shadows and lights will be cut off";
}

std::string fewBits(double bitsPerPixel) {
  char text[160];
  std::snprintf(text, sizeof text,
                "only %.3f bits a pixel: the codec has left out detail that edges need; use the camera's original",
                bitsPerPixel);
  return text;
}

// FFV1 and the like may have pictures between keys, and lose nothing in them.
bool isLossless(const ClipDescription& clip) {
  const AVCodecDescriptor* codec = avcodec_descriptor_get_by_name(clip.codec.c_str());
  return codec != nullptr && (codec->props & AV_CODEC_PROP_LOSSLESS) != 0 && (codec->props & AV_CODEC_PROP_LOSSY) == 0;
}

}  // namespace

std::vector<std::string> keyingRisks(const ClipDescription& clip, bool deep) {
  std::vector<std::string> risks;
  if (clip.depth == 8 && clip.chroma == "4:2:0" && !clip.intraOnly && !clip.still && !isLossless(clip)) {
    risks.push_back("8-bit 4:2:0 video in a long GOP: colour edges are coarse and blocky; --deblocking on helps, " +
                    std::string("10-bit 4:2:2 from the camera helps more"));
  }
  if (clip.depth > 8 && !deep) {
    risks.push_back("the keyer works in 8 bits; the clip's " + std::to_string(clip.depth) + " are dithered to them");
  }
  const std::string hdr = hdrWarning(clip.transfer.value, deep);
  if (!hdr.empty()) risks.push_back(hdr);
  if (isYuv(clip) && clip.matrix.origin == Origin::Guessed) {
    risks.push_back("the colour matrix is not tagged; " + clip.matrix.value +
                    " is guessed by the height, and a wrong guess shifts the screen's green");
  }
  if (clip.rangeDoubt != RangeDoubt::None) risks.push_back(rangeRisk(clip));
  if (clip.holdsLevels) {
    risks.push_back(
        "its floats look like levels of 0..255, but 1 is white in such pictures: they will be far too bright; divide "
        "them by 255 first");
  }
  if (clip.variableRate) {
    risks.push_back(
        "the frame rate varies; .mov, .mkv and .webm keep the times of the pictures, numbered files do not");
  }
  if (clip.fieldOrder == FieldOrder::TopFirst || clip.fieldOrder == FieldOrder::BottomFirst) {
    risks.push_back(
        "the pictures are interlaced; each field is keyed with half the lines, so edges are coarser than a progressive "
        "clip gives");
  }
  if (clip.bitsPerPixel && *clip.bitsPerPixel < leanestBits(clip)) risks.push_back(fewBits(*clip.bitsPerPixel));
  if (clip.alpha == AlphaKind::Premultiplied && !clip.dividedByAlpha && !deep) {
    risks.push_back("the colours are premultiplied by alpha, but taken for straight: half-transparent edges turn dark");
  }
  if (!clip.jumps.empty()) risks.push_back(clip.jumps + "; its length is not known");
  if (!clip.gaps.empty()) risks.push_back(clip.gaps);
  if (clip.damagedFrames > 0) {
    risks.push_back("the file is damaged: " + std::to_string(clip.damagedFrames) +
                    " of the first pictures have errors");
  }
  return risks;
}

}  // namespace kalvetra
