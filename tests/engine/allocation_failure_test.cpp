// Memory that runs out at every possible place: nothing leaks (the sanitizers watch), the driver answers 3.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "engine/KALVETRA_MakeMaskGreenBack32bit.h"
#include "engine/render.h"
#include "parameters/parameter_table.h"
#include "sample/test_images.h"
#include "tests/support/cpu_levels.h"

namespace {

long allocationsLeft = -1;  // counts down to the one that fails; negative: none does

void* allocate(std::size_t size) {
  if (allocationsLeft == 0) throw std::bad_alloc();
  if (allocationsLeft > 0) --allocationsLeft;
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using kalvetra::test::Bytes;

KALVETRA_Param makeRecord(Bytes& source, Bytes& result, unsigned int smooth) {
  KALVETRA_Param p{};
  p.pSrc = source.data();
  p.pDst = result.data();
  p.nWidth = 12;
  p.nHeight = 9;
  p.keyColor[1][0] = 180;
  p.nSkinHue[0] = 145;
  p.nBlueHue[0] = 290;
  p.bSmoothBG = smooth;
  p.nDeBlock = p.nContractMask = p.nMaskBlurRadius = 2;
  return p;
}

void expectThreeWhereverItHappens(unsigned int smooth, unsigned int fields) {
  Bytes source = kalvetra::test::noise(12 * 9 * 4, 1), result(source.size());
  KALVETRA_Param param = makeRecord(source, result, smooth);
  KALVEVIE_Param view{fields};
  long failures = 0;
  for (unsigned int status = 3; status == 3; ++failures) {
    allocationsLeft = failures;
    status = KALVETRA_MakeMaskGreenBack32bit(&param, &view, 0);
    allocationsLeft = -1;
    ASSERT_TRUE(status == 3 || status == 0) << status;
  }
  EXPECT_GT(failures, 10);
}

TEST(AllocationFailure, TheDriverReturnsThreeWhicheverAllocationFails) {
  kalvetra::test::atEveryLevel([](kalvetra::CpuLevel) {
    for (const unsigned int smooth : {0u, 1u}) {
      for (const unsigned int fields : {0u, 1u}) expectThreeWhereverItHappens(smooth, fields);
    }
  });
}

constexpr int kRows = 40;  // enough for bands

// True when rendering threw because the allocation after `failing` others failed.
bool throwsAt(long failing, const kalvetra::KeySettings& settings, const Bytes& frame, Bytes& out,
              const kalvetra::KnownPlate* plate) {
  const kalvetra::Workers workers{2, [](int parts, const std::function<void(int)>& work) {
                                    for (int part = 0; part < parts; ++part) work(part);
                                  }};
  allocationsLeft = failing;
  try {
    kalvetra::render(settings, kalvetra::packedFrame(frame.data(), 12, kRows),
                     kalvetra::packedFrame(out.data(), 12, kRows), {kalvetra::Scan::Whole, &workers, plate});
  } catch (const std::bad_alloc&) {
    allocationsLeft = -1;
    return true;
  }
  allocationsLeft = -1;
  return false;
}

// The driver keeps what it meets to itself; of a plain frame only the two working images are the entry's own. By
// vectors every failure passes, and before anything is written.
TEST(AllocationFailure, TheRenderEntryThrowsWhereItsOwnAllocationFails) {
  kalvetra::KeySettings settings = kalvetra::defaultSettings();
  settings.keyColor = {0.1, 0.7, 0.2};
  settings.deBlocking = settings.edgeContract = settings.edgeBlur = 1;
  const Bytes frame = kalvetra::test::noise(12 * kRows * 4, 1);
  const kalvetra::KnownPlate known{kalvetra::packedFrame(frame.data(), 4, 7), true, 1.0f};
  kalvetra::test::atEveryLevel([&](kalvetra::CpuLevel level) {
    for (const kalvetra::KnownPlate* plate : {static_cast<const kalvetra::KnownPlate*>(nullptr), &known}) {
      Bytes out(frame.size(), 9);
      const Bytes untouched = out;
      long failing = 0;
      const long own = level == kalvetra::CpuLevel::Scalar ? 2 : 1000;
      for (; failing < own && throwsAt(failing, settings, frame, out, plate); ++failing) {
        ASSERT_EQ(untouched, out) << failing;
      }
      if (level == kalvetra::CpuLevel::Scalar) {
        EXPECT_EQ(own, failing);
      } else {
        EXPECT_GT(failing, 20);
        EXPECT_LT(failing, own) << "it never succeeded";
      }
    }
  });
}

}  // namespace
