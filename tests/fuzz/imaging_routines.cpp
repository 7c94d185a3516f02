// Every routine of imaging/, one an input, with any arguments that its contract allows.
#include <cmath>
#include <iterator>

#include "imaging/CImagingZEP.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/level_oracle.h"

namespace {

using kalvetra::test::Bytes;
using kalvetra::test::FuzzInput;
using kalvetra::test::require;
using kalvetra::test::sameAtEveryLevel;
using Size = FuzzInput::Size;

CImagingZEP imaging;

// An image with rows that may be longer than its pixels, but for the last one.
struct Rows {
  Size size;
  int stride;
  Bytes bytes;
};

Rows rowsFrom(FuzzInput& in) {
  Rows rows{in.size(), 0, {}};
  rows.stride = 4 * std::max(rows.size.width, 0) + in.within(0, 9);
  const std::size_t pixels = rows.size.pixels();
  const std::size_t padding = static_cast<std::size_t>(rows.stride - 4 * std::max(rows.size.width, 0));
  rows.bytes = in.picture(pixels == 0 ? 0 : pixels * 4 + padding * static_cast<std::size_t>(rows.size.height - 1));
  return rows;
}

// A routine that works in place on a packed image: run(size, image) answers its status.
template <class Run>
Bytes inPlace(FuzzInput& in, int pixelBytes, Run run) {
  const Size size = in.size();
  const Bytes image = in.picture(size.pixels() * static_cast<std::size_t>(pixelBytes));
  return sameAtEveryLevel([&] {
    Bytes result = image;
    const int status = run(size, result.data());
    require(status == 1 || result == image, "a refused image was changed");
    return result;
  });
}

void chromaBlur(FuzzInput& in) {
  const int radius = in.nearly(-1, 20);
  const bool core = in.flag();
  inPlace(in, 4, [&](Size size, unsigned char* image) {
    Bytes scratch(size.pixels() * 4);
    return core ? imaging.ChromaBlurCore3_32bit(size.width, size.height, image, scratch.data(), radius)
                : imaging.ChromaBlur32bit(size.width, size.height, image, scratch.data(), radius);
  });
}

// Needs whole rows: what lies after a row's pixels comes back as zeros.
void averageBlur(FuzzInput& in) {
  const int radius = in.nearly(-1, 20);
  Rows rows = rowsFrom(in);
  if (rows.size.pixels() == 0) return;
  rows.bytes.resize(static_cast<std::size_t>(rows.stride) * static_cast<std::size_t>(rows.size.height));
  const Bytes result = sameAtEveryLevel([&] {
    Bytes image = rows.bytes;
    imaging.AverageBlurCore32bit6(image.data(), rows.size.width, rows.size.height, rows.stride, radius);
    return image;
  });
  for (std::size_t i = 0; radius >= 0 && i < result.size(); ++i) {
    const auto column = static_cast<int>(i % static_cast<std::size_t>(rows.stride));
    require(column < 4 * rows.size.width || result[i] == 0, "a byte behind a row is not 0");
  }
}

void planeBlur(FuzzInput& in) {
  const float radius = in.flag() ? static_cast<float>(in.within(-1, 20)) : in.any<float>();
  const float gain = in.flag() ? 1.0f : in.any<float>();
  inPlace(in, 1, [&](Size size, unsigned char* plane) {
    return imaging.AverageBlurA(size.width, size.height, plane, radius, gain);
  });
}

void maskBlur(FuzzInput& in) {
  const int radius = in.nearly(-1, 20), amount = in.nearly(0, 100), offset = in.nearly(0, 255);
  inPlace(in, 4, [&](Size size, unsigned char* image) {
    return imaging.MaskBlur(size.width, size.height, image, radius, amount, offset);
  });
}

void contraction(FuzzInput& in) {
  const int kind = in.byte() % 3, given = in.nearly(-1, 12), slack = in.nearly(0, 255);
  const int steps = slack < 0 ? std::min(given, 40) : given;  // levels that wrap round never come to rest
  inPlace(in, 4, [&](Size size, unsigned char* image) {
    if (kind == 0) return imaging.ContGray7(size.width, size.height, image, steps, slack);
    return kind == 1 ? imaging.ContGrayCore4(size.width, size.height, image, slack)
                     : imaging.ContGrayCore8(size.width, size.height, image, slack);
  });
}

void resampling(FuzzInput& in) {
  const int filter = in.nearly(0, 1), lobes = in.nearly(-1, 5);
  Rows from = rowsFrom(in);
  const Rows to = rowsFrom(in);
  const Bytes result = sameAtEveryLevel([&] {
    Bytes image = to.bytes;
    imaging.DF_WH32bit5_1(from.bytes.data(), from.size.width, from.size.height, from.stride, image.data(),
                          to.size.width, to.size.height, to.stride, filter, lobes);
    return image;
  });
  for (std::size_t i = 0; i < result.size(); ++i) {
    const auto column = static_cast<int>(i % static_cast<std::size_t>(to.stride));
    const bool isColor = column < 4 * to.size.width && column % 4 != 3;
    require(isColor || result[i] == to.bytes[i], "the resampler wrote what is no colour");
  }
}

void edges(FuzzInput& in) {
  const int threshold = in.nearly(0, 255), padding = in.within(0, 9);
  Rows from = rowsFrom(in);
  const int stride = std::max(from.size.width, 0) + padding;
  sameAtEveryLevel([&] {
    Bytes map(from.size.pixels() == 0 ? 0 : static_cast<std::size_t>(stride * from.size.height - padding));
    imaging.Laplacian32bit8(from.bytes.data(), from.size.width, from.size.height, from.stride, map.data(),
                            from.size.width, from.size.height, stride, threshold);
    return map;
  });
}

void fields(FuzzInput& in) {
  const Size size = in.size();
  Bytes frame = in.picture(size.pixels() * 4), woven(frame.size());
  const std::size_t row = size.pixels() == 0 ? 0 : static_cast<std::size_t>(size.width) * 4;
  const std::size_t height = size.pixels() == 0 ? 0 : static_cast<std::size_t>(size.height);
  Bytes odd(row * (height / 2)), even(row * ((height + 1) / 2));
  imaging.SepareteField32bit(size.width, size.height, frame.data(), odd.data(), even.data());
  imaging.CompositeField32bit(size.width, size.height, woven.data(), odd.data(), even.data());
  require(frame == woven, "fields that are taken apart and woven give another frame");
}

void interpolation(FuzzInput& in) {
  const float x = in.any<float>(), x0 = in.any<float>(), x1 = in.any<float>(), y0 = in.any<float>(),
              y1 = in.any<float>();
  const auto same = [](float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); };
  const float y = imaging.LinerInter(x, x0, x1, y0, y1);
  if (x <= x0) require(same(y, y0), "not y0 at x0");
  if (!(x <= x0) && (x >= x1 || std::isnan(x))) require(same(y, y1), "not y1 at x1");
  const int i = in.any<int>(), i0 = in.any<int>(), i1 = in.any<int>(), j0 = in.any<int>(), j1 = in.any<int>();
  const int j = imaging.LinerInter(i, i0, i1, j0, j1);
  if (i <= i0) require(j == j0, "not y0 at x0, in integers");
  const int width = in.nearly(0, 100000), rounded = imaging.Align8(width);
  if (width >= 0 && width < 1000000) require(rounded % 4 == 0 && rounded >= width && rounded < width + 4, "Align8");
}

void colors(FuzzInput& in) {
  const auto byte = [&in] { return static_cast<unsigned char>(in.byte()); };
  const unsigned char r = byte(), g = byte(), b = byte();
  const RGB back = imaging.YIQtoRGB2(imaging.RGBtoYIQ2(r, g, b));
  require(std::abs(back.R - r) <= 1 && std::abs(back.G - g) <= 1 && std::abs(back.B - b) <= 1, "YIQ and back");
  const HLS hls = imaging.RGBtoHLS(r, g, b);
  require(hls.H >= 0 && hls.H <= 360 && hls.L >= 0 && hls.L <= 255 && hls.S >= 0, "HLS out of its range");
  imaging.RGBtoYIQ(r, g, b);
  imaging.HLStoYIQ({in.any<float>(), in.any<float>(), in.any<float>()});
  imaging.YIQtoRGB2({in.any<float>(), in.any<float>(), in.any<float>()});
  const double x = in.any<double>();
  const int lobes = in.nearly(1, 8);
  const float weight = imaging.DF_weight(x, lobes, in.byte() % 2);
  if (x == 0.0) require(weight == 1.0f, "the kernel is not 1 at 0");
  if (lobes > 0 && std::abs(x) >= lobes) require(weight == 0.0f, "the kernel is not 0 behind its lobes");
}

constexpr void (*kRoutines[])(FuzzInput&){chromaBlur, averageBlur, planeBlur, maskBlur,      contraction,
                                          resampling, edges,       fields,    interpolation, colors};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  kRoutines[static_cast<std::size_t>(in.byte()) % std::size(kRoutines)](in);
  return 0;
}
