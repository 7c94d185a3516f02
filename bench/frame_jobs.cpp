#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <array>
#include <memory>

#include "bench/jobs.h"
#include "deep/render.h"
#include "engine/render.h"
#include "plates/fit.h"

namespace kalvetra::bench {

namespace {

struct FrameSize {
  const char* name;
  Size size;
};

constexpr FrameSize kFrameSizes[]{{"720p", {1280, 720}}, {"1080p", {1920, 1080}}, {"4K", {3840, 2160}}};

struct FrameVariant {
  const char* name;
  int smoothBG, deBlocking, edgeContract, edgeBlur;
  int noise = kCameraNoise;
};

constexpr int kMuchNoise = 12;  // levels: so much that a quick look leaves most pixels open
constexpr FrameVariant kFrameVariants[]{{"default", 1, 0, 0, 0},
                                        {"no-plate", 0, 0, 0, 0},
                                        {"all-options", 1, 1, 1, 1},
                                        {"contraction", 1, 0, 1, 0},
                                        {"noisy", 1, 0, 0, 0, kMuchNoise}};

KeySettings settingsOf(const FrameVariant& variant) {
  KeySettings s = screenSettings();
  s.smoothBG = variant.smoothBG;
  s.deBlocking = variant.deBlocking;
  s.edgeContract = variant.edgeContract;
  s.edgeBlur = variant.edgeBlur;
  return s;
}

// "frame/default/1080p/avx2".
void addFrames() {
  const Pass& pass = passNamed(passes(), "render-entry");
  for (const FrameVariant& variant : kFrameVariants) {
    const KeySettings s = settingsOf(variant);
    const auto run = [s](const Images& i) { renderImages(s, i); };
    for (const FrameSize& frame : kFrameSizes) {
      addJob({std::string("frame/") + variant.name + "/" + frame.name,
              &pass,
              {variant.name, run},
              frame.size,
              [size = frame.size, noise = variant.noise] { return cameraFrame(size, 0, noise); },
              [] { return Bytes(); },
              {}});
    }
  }
}

// "deep/default/1080p/avx2": frames of floats in the deep lane, beside frame/default; "deep/bytes" keys the same frame
// in bytes there.
void addDeepFrames() {
  static const Pass pass{.name = "deep", .settings = {}, .resultBytes = [](Size size) {
                           return std::size_t{16} * static_cast<unsigned>(size.width * size.height);
                         }};
  std::vector<FrameVariant> variants(std::begin(kFrameVariants), std::end(kFrameVariants));
  variants.push_back({"bytes", 1, 0, 0, 0});
  for (const FrameVariant& variant : variants) {
    const KeySettings s = settingsOf(variant);
    const bool floats = variant.name != variants.back().name;
    const auto format = floats ? PixelFormat::RgbaF32 : PixelFormat::Argb8;
    const auto run = [s, format](const Images& i) {
      renderDeep(s, packedFrame(i.source, i.size.width, i.size.height, format),
                 packedFrame(i.result, i.size.width, i.size.height, PixelFormat::RgbaF32));
    };
    for (const FrameSize& frame : kFrameSizes) {
      addJob({std::string("deep/") + variant.name + "/" + frame.name,
              &pass,
              {variant.name, run},
              frame.size,
              [size = frame.size, noise = variant.noise, floats] {
                const Bytes bytes = cameraFrame(size, 0, noise);
                return floats ? floatFrame(bytes) : bytes;
              },
              [] { return Bytes(); },
              {}});
    }
  }
}

// "plate/fitted/1080p/avx2": against a plate that is given, beside frame/default.
void addPlates() {
  struct Given {
    const char* name;
    Size size;
    bool keepsShadows;
  };
  static constexpr Size kFull = kFrameSizes[1].size;
  for (const Given& given :
       {Given{"fitted", {640, 360}, false}, Given{"full", kFull, false}, Given{"full-shadows", kFull, true}}) {
    const auto picture = std::make_shared<Bytes>(cameraFrame(given.size, 0));
    const Frame frame = packedFrame(picture->data(), given.size.width, given.size.height);
    renderPlate(screenSettings(), frame, frame);
    const auto run = [picture, frame, shadows = given.keepsShadows](const Images& i) {
      const KnownPlate plate{frame, shadows, 2.0f};
      render(screenSettings(), packedFrame(i.source, i.size.width, i.size.height),
             packedFrame(i.result, i.size.width, i.size.height), {Scan::Whole, nullptr, &plate});
    };
    addJob({std::string("plate/") + given.name + "/" + kFrameSizes[1].name,
            &passNamed(passes(), "render-entry"),
            {given.name, run},
            kFull,
            [] { return cameraFrame(kFull, 0); },
            [] { return Bytes(); },
            {}});
  }
}

// "fit/1080p/avx2": the estimate that a shot takes once.
void addFit() {
  static constexpr FrameSize kFrame = kFrameSizes[1];
  const auto run = [](const Images& i) {
    const FittedPlate fitted = fitPlate(packedFrame(i.source, i.size.width, i.size.height), screenSettings());
    std::copy(fitted.plate.argb.begin(), fitted.plate.argb.end(), i.result);
  };
  addJob({std::string("fit/") + kFrame.name,
          &passNamed(passes(), "render-entry"),
          {"fit", run},
          kFrame.size,
          [] { return cameraFrame(kFrame.size, 0); },
          [] { return Bytes(); },
          {}});
}

// "threads/all/4K/avx2": a default frame on that many threads, timed on the clock.
void addThreads() {
  static const Workers all{tbb::this_task_arena::max_concurrency(),
                           [](int parts, const std::function<void(int)>& work) {
                             tbb::parallel_for(0, parts, work, tbb::simple_partitioner());
                           }};
  struct Lent {
    const char* name;
    const Workers* workers;
  };
  for (const Lent& lent : {Lent{"one", nullptr}, Lent{"all", &all}}) {
    const auto run = [workers = lent.workers](const Images& i) {
      render(screenSettings(), packedFrame(i.source, i.size.width, i.size.height),
             packedFrame(i.result, i.size.width, i.size.height), {Scan::Whole, workers});
    };
    const FrameSize& frame = kFrameSizes[2];
    addJob({std::string("threads/") + lent.name + "/" + frame.name,
            &passNamed(passes(), "render-entry"),
            {lent.name, run},
            frame.size,
            [size = frame.size] { return cameraFrame(size, 0); },
            [] { return Bytes(); },
            {}},
           Clock::Wall);
  }
}

}  // namespace

void addFrameJobs() {
  addFrames();
  addDeepFrames();
  addPlates();
  addFit();
  addThreads();
}

}  // namespace kalvetra::bench
