#include "cli/probe_report.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "cli/console.h"
#include "support/number_text.h"
#include "support/shown_text.h"

namespace kalvetra {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kColumn = 16;  // of the values

const char* originName(Origin origin) {
  return origin == Origin::Tagged ? "tagged" : origin == Origin::Implied ? "implied" : "guessed";
}

const char* alphaName(AlphaKind kind) {
  switch (kind) {
    case AlphaKind::None:
      return "none";
    case AlphaKind::Straight:
      return "straight";
    case AlphaKind::Premultiplied:
      return "premultiplied";
    default:
      return "unknown";
  }
}

const char* orderName(FieldOrder order) {
  switch (order) {
    case FieldOrder::Progressive:
      return "progressive";
    case FieldOrder::TopFirst:
      return "top field first";
    case FieldOrder::BottomFirst:
      return "bottom field first";
    default:
      return "unknown";
  }
}

std::string fraction(AVRational value, char between) {
  return std::to_string(value.num) + between + std::to_string(value.den);
}

std::string fixed(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

std::string structureOf(const ClipDescription& clip) {
  if (clip.still) return "a still";
  if (clip.intraOnly) return "intra only";
  if (clip.keyInterval == 0) return "long GOP";
  return "long GOP, up to " + counted(clip.keyInterval, "picture") + " from key to key";
}

std::string depthOf(const ClipDescription& clip) {
  return clip.depth > 16 ? "floating point" : counted(clip.depth, "bit");
}

std::string rateOf(const ClipDescription& clip) {
  const std::string rate = clip.frameRate.den == 1
                               ? std::to_string(clip.frameRate.num)
                               : fraction(clip.frameRate, '/') + " (" + fixed(av_q2d(clip.frameRate), 3) + ")";
  return rate + " fps, " + (clip.variableRate ? "variable" : "constant");
}

std::string framesOf(const ClipDescription& clip) {
  if (!clip.frames) return "unknown";
  return std::to_string(*clip.frames) + (clip.framesCounted ? "" : ", by the duration");
}

class Lines {
 public:
  void add(const std::string& label, const std::string& value) {
    text_ += label + std::string(kColumn - label.size(), ' ') + shownText(value) + '\n';
  }
  void add(const std::string& label, const Property& property) {
    add(label, property.value + " (" + originName(property.origin) + ")");
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

Json json(const Property& property) { return {{"value", property.value}, {"origin", originName(property.origin)}}; }

template <class Value>
Json orNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json(nullptr);
}

Json soundJson(const ClipDescription& clip) {
  Json all = Json::array();
  for (const SoundStream& s : clip.sound) {
    all.push_back({{"codec", s.codec}, {"channels", s.channels}, {"sampleRate", s.sampleRate}});
  }
  return all;
}

}  // namespace

std::string reportText(const ClipDescription& clip, bool deep) {
  Lines lines;
  lines.add("file", clip.path);
  lines.add("container", clip.container);
  lines.add("codec", clip.codec + ", " + structureOf(clip));
  lines.add("size", std::to_string(clip.width) + " x " + std::to_string(clip.height));
  lines.add("pixel shape", fraction(clip.pixelAspect, ':'));
  lines.add("rotation", clip.rotation == 0 ? "none" : std::to_string(clip.rotation) + " degrees clockwise");
  lines.add("pixel format", clip.pixelFormat + ", " + std::to_string(clip.depth) + " bits, " + clip.chroma);
  lines.add("matrix", clip.matrix);
  lines.add("range", clip.range);
  lines.add("primaries", clip.primaries);
  lines.add("transfer", clip.transfer);
  if (clip.chromaSiting) lines.add("chroma siting", *clip.chromaSiting);
  const std::string reason = clip.alphaReason.empty() ? "" : " (" + clip.alphaReason + ")";
  lines.add("alpha", alphaName(clip.alpha) + reason);
  lines.add("field order", orderName(clip.fieldOrder));
  lines.add("frame rate", rateOf(clip));
  lines.add("duration", clip.seconds ? fixed(*clip.seconds, 3) + " s" : "unknown");
  lines.add("frames", framesOf(clip));
  lines.add("bits a pixel", clip.bitsPerPixel ? fixed(*clip.bitsPerPixel, 3) : "unknown");
  lines.add("timecode", clip.timecode.empty() ? "none" : clip.timecode);
  if (clip.sound.empty()) lines.add("sound", "none");
  for (const SoundStream& s : clip.sound) {
    lines.add("sound", s.codec + ", " + counted(s.channels, "channel") + ", " + std::to_string(s.sampleRate) + " Hz");
  }
  lines.add("keyed", deep ? "at full depth (" + depthOf(clip) + ")" : "in 8 bits");
  for (const std::string& risk : keyingRisks(clip, deep)) lines.add("warning", risk);
  return lines.text();
}

std::string reportJson(const ClipDescription& clip, bool deep) {
  Json report{{"file", clip.path},
              {"container", clip.container},
              {"codec", clip.codec},
              {"width", clip.width},
              {"height", clip.height},
              {"pixelAspect", fraction(clip.pixelAspect, ':')},
              {"rotation", clip.rotation},
              {"pixelFormat", clip.pixelFormat},
              {"depth", clip.depth},
              {"chroma", clip.chroma},
              {"matrix", json(clip.matrix)},
              {"range", json(clip.range)},
              {"primaries", json(clip.primaries)},
              {"transfer", json(clip.transfer)},
              {"chromaSiting", clip.chromaSiting ? json(*clip.chromaSiting) : Json(nullptr)},
              {"alpha", {{"kind", alphaName(clip.alpha)}, {"reason", clip.alphaReason}}},
              {"fieldOrder", orderName(clip.fieldOrder)},
              {"frameRate", fraction(clip.frameRate, '/')},
              {"variableRate", clip.variableRate},
              {"seconds", orNull(clip.seconds)},
              {"frames", orNull(clip.frames)},
              {"framesCounted", clip.framesCounted},
              {"still", clip.still},
              {"intraOnly", clip.intraOnly},
              {"keyInterval", clip.keyInterval == 0 ? Json(nullptr) : Json(clip.keyInterval)},
              {"bitsPerPixel", orNull(clip.bitsPerPixel)},
              {"timecode", clip.timecode.empty() ? Json(nullptr) : Json(clip.timecode)},
              {"sound", soundJson(clip)},
              {"keyed", deep ? "deep" : "8"},
              {"warnings", keyingRisks(clip, deep)}};
  return report.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";  // names may be no UTF-8
}

}  // namespace kalvetra
