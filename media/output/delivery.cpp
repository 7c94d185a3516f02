#include "media/output/delivery.h"

#include <algorithm>
#include <filesystem>

#include "media/files/endings.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

const std::vector<std::string> kPurposes{"editing", "web", "compositing", "archive", "still"};

// "a", "a or b", "a, b or c"
std::string listed(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
  }
  return text;
}

bool contains(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

std::string shown(const std::string& path) { return path == "-" ? "the standard output" : path; }

// Where a codec may go: ".webm, .mkv or .mp4".
std::vector<std::string> placesOf(const std::string& codec) {
  std::vector<std::string> places;
  for (const OutputFormat& format : outputFormats()) {
    if (format.slug != codec) continue;
    for (const std::string& place : format.extensions) places.push_back(place);
  }
  return places;
}

// Of those formats, each once.
template <class Fits>
std::vector<std::string> slugsOf(Fits fits) {
  std::vector<std::string> slugs;
  for (const OutputFormat& format : outputFormats()) {
    if (fits(format) && !contains(slugs, format.slug)) slugs.push_back(format.slug);
  }
  return slugs;
}

// The codecs that serve a purpose, its default first. Throws UserError for an unknown one.
std::vector<std::string> codecsServing(const std::string& purpose) {
  if (!contains(kPurposes, purpose)) throw UserError("'" + purpose + "' is no purpose; choose " + listed(kPurposes));
  return slugsOf([&](const OutputFormat& format) { return contains(format.purposes, purpose); });
}

const OutputFormat& byExtension(const std::string& path) {
  const std::string extension = extensionOf(path);
  std::vector<std::string> known;
  for (const OutputFormat& format : outputFormats()) {
    if (format.goesInto(extension)) return format;
    const std::string entry = format.extension() + " (" + format.what + ")";
    const bool first = std::none_of(known.begin(), known.end(),
                                    [&](const std::string& k) { return k.starts_with(format.extension() + " "); });
    if (first) known.push_back(entry);
  }
  throw UserError(path + ": " +
                  (extension.empty() ? "has no file extension" : "'" + extension + "' cannot be written") +
                  "; end the name in one of " + listed(known));
}

// The row of that codec for the path's container; `asked` is what asked for the codec.
const OutputFormat& byCodec(const std::string& codec, const std::string& path, const std::string& asked) {
  const std::string extension = extensionOf(path);
  for (const OutputFormat& format : outputFormats()) {
    if (format.slug == codec && format.goesInto(extension)) return format;
  }
  std::vector<std::string> places = placesOf(codec);
  std::erase(places, "-");
  throw UserError(shown(path) + ": does not fit " + asked + "; " + outputFormatNamed(codec).what + " goes into a " +
                  listed(places) + " file");
}

void checkCodec(const std::string& codec) {
  if (!contains(codecs(), codec)) throw UserError("'" + codec + "' is no codec; choose " + listed(codecs()));
}

const OutputFormat& chooseFormat(const DeliveryRequest& request) {
  const std::string& purpose = request.purpose;
  const std::vector<std::string> serving = purpose.empty() ? codecs() : codecsServing(purpose);
  if (!request.codec.empty()) {
    checkCodec(request.codec);
    if (!contains(serving, request.codec)) {
      throw UserError("the codec " + request.codec + " does not fit the purpose " + purpose + "; choose " +
                      listed(serving) + ", or leave the purpose out");
    }
    return byCodec(request.codec, request.path, "the codec " + request.codec);
  }
  return purpose.empty() ? byExtension(request.path) : byCodec(serving.front(), request.path, "the purpose " + purpose);
}

bool mayBe(const OutputFormat& format, AlphaMode alpha) {
  return std::find(format.alpha.begin(), format.alpha.end(), alpha) != format.alpha.end();
}

std::string wordFor(AlphaMode alpha) {
  return alpha == AlphaMode::Straight ? "straight" : alpha == AlphaMode::Premultiplied ? "premultiplied" : "no";
}

// The codecs that take such an alpha.
std::string codecsFor(AlphaMode alpha) {
  return listed(slugsOf([alpha](const OutputFormat& format) { return mayBe(format, alpha); }));
}

// Where the usual codecs with alpha go: ".mov, .mkv, .webm or .png".
std::string usualPlacesOfAlpha() {
  std::vector<std::string> places;
  for (const OutputFormat& format : outputFormats()) {
    if (format.usual && !format.alpha.empty()) places.push_back(format.extension());
  }
  return listed(places);
}

// For pictures that have alpha.
AlphaMode chooseAlpha(const DeliveryRequest& request, const OutputFormat& format) {
  const std::string path = shown(request.path);
  if (request.alpha == AlphaMode::None) {
    throw UserError(path + ": the result has alpha, which would be lost; choose straight or premultiplied alpha");
  }
  if (format.pair) {
    if (request.alpha == AlphaMode::Premultiplied) {
      throw UserError(path + ": " + format.what + " has no alpha; its fill is straight, with the matte in a second " +
                      "file; for premultiplied alpha choose " + codecsFor(AlphaMode::Premultiplied));
    }
    return AlphaMode::None;
  }
  if (format.alpha.empty()) {
    throw UserError(path + ": " + format.what +
                    " holds no alpha; lay the result over a background (--over), write the " +
                    "matte (--view matte), or choose another kind of output: " + usualPlacesOfAlpha());
  }
  const AlphaMode alpha = request.alpha.value_or(format.alpha.front());
  if (!mayBe(format, alpha)) {
    throw UserError(path + ": " + format.what + " is " + wordFor(format.alpha.front()) + " by convention; for " +
                    wordFor(alpha) + " alpha choose " + codecsFor(alpha));
  }
  return alpha;
}

// Premultiplied pictures are black there anyway.
bool extendsHidden(const DeliveryRequest& request, const OutputFormat& format, AlphaMode alpha) {
  if (alpha != AlphaMode::Straight && !format.pair) return false;
  return request.hidden == HiddenColors::Extend || (request.hidden == HiddenColors::Auto && format.lossy);
}

}  // namespace

Delivery chooseDelivery(const DeliveryRequest& request) {
  const OutputFormat& format = chooseFormat(request);
  Delivery delivery{.format = &format, .depth = request.depth, .dither = request.dither && !request.levels};
  if (request.opaque || request.levels) {
    delivery.alpha = AlphaMode::None;
    delivery.levels = request.levels;
    return delivery;
  }
  delivery.alpha = chooseAlpha(request, format);
  delivery.pair = format.pair;
  delivery.extendsHidden = extendsHidden(request, format, delivery.alpha);
  return delivery;
}

AVPixelFormat Delivery::pixelFormat() const {
  const bool opaque = alpha == AlphaMode::None;
  if (!isDeep() || format->deep.empty()) return opaque ? format->opaquePixelFormat : format->pixelFormat;
  const auto holds = [this](const DeepSamples& samples) { return samples.bits >= depth; };
  const auto found = std::find_if(format->deep.begin(), format->deep.end(), holds);
  const DeepSamples& samples = found == format->deep.end() ? format->deep.back() : *found;
  return opaque ? samples.opaquePixelFormat : samples.pixelFormat;
}

bool Delivery::dithersDeep() const {
  const AVPixFmtDescriptor* samples = av_pix_fmt_desc_get(pixelFormat());
  return isDeep() && dither && !format->floatPixels && samples->comp[0].depth == 8;
}

std::vector<std::string> purposes() { return kPurposes; }

std::vector<std::string> codecs() {
  return slugsOf([](const OutputFormat&) { return true; });
}

std::string usualExtension(const std::string& purpose, const std::string& codec) {
  const std::vector<std::string> serving = purpose.empty() ? codecs() : codecsServing(purpose);
  if (!codec.empty()) checkCodec(codec);
  return outputFormatNamed(codec.empty() ? serving.front() : codec).extension();
}

std::string describe(const Delivery& delivery) {
  const std::string& what = delivery.format->what;
  if (delivery.pair) return what + ", straight colours, the matte in a file of its own";
  return what + ", " + (delivery.alpha == AlphaMode::None ? "opaque" : wordFor(delivery.alpha) + " alpha");
}

std::string matteNameFor(const std::string& path) {
  const std::filesystem::path whole(path);
  return (whole.parent_path() / (whole.stem().string() + "-matte" + whole.extension().string())).string();
}

Delivery matteDelivery(const Delivery& pair) {
  return {.format = pair.format, .alpha = AlphaMode::None, .levels = true, .depth = pair.depth, .dither = false};
}

std::string alphaTag(const Delivery& delivery) {
  return std::string(delivery.pair ? "separate" : alphaTag(delivery.alpha));
}

}  // namespace kalvetra
