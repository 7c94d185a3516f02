#include "cli/doctor_checks.h"

#include <hwy/highway.h>
#include <tbb/version.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <thread>

#include "cpu/cpu_level.h"
#include "engine/render.h"
#include "media/output/output_format.h"
#include "parameters/parameter_table.h"

namespace kalvetra {

namespace {

// Bytes that keying pictures of 3840 x 2160 takes, and what each thread adds to it; measured, rounded up.
constexpr double kMemoryOfAClip = 900e6, kMemoryOfAThread = 550e6;
constexpr int kWidth = 192, kHeight = 108;  // of the drawn picture
const std::string kCodecAdvice = "install FFmpeg libraries that have it (Debian: libavcodec59, or libavcodec-extra59)";

struct ForeignCodec {
  const char* name;
  const char* use;
};

// Decoders of clips that come from elsewhere, besides those of the outputs.
constexpr ForeignCodec kNeededDecoders[]{
    {"h264", "camera and phone clips"},
    {"hevc", "phone clips"},
    {"vp9", "clips of the web"},
    {"mjpeg", "pictures"},
};
constexpr ForeignCodec kOtherDecoders[]{{"dnxhd", "editors' clips"}};

Check checkCodec(const char* kind, bool found, const std::string& name, const std::string& use, bool needed) {
  if (found) return {std::string(kind) + " " + name, CheckState::Ok, use, needed};
  return {std::string(kind) + " " + name, CheckState::Missing, use + ": not possible here; " + kCodecAdvice, needed};
}

void addCodecs(std::vector<Check>& checks) {
  std::set<std::string> seen;
  const auto add = [&](const Check& check) {
    if (seen.insert(check.name).second) checks.push_back(check);
  };
  for (const OutputFormat& format : outputFormats()) {
    for (const Encoder& encoder : format.encoders) {
      add(checkEncoder(encoder.name, format.what + " (" + format.extension() + ")", format.usual));
    }
  }
  for (const OutputFormat& format : outputFormats()) {
    if (format.keepsSound()) add(checkEncoder(format.soundEncoder, "sound in " + format.extension(), false));
  }
  for (const ForeignCodec& codec : kNeededDecoders) add(checkDecoder(codec.name, codec.use, true));
  for (const OutputFormat& format : outputFormats()) {
    add(checkDecoder(format.decoder, format.what + " (" + format.extension() + ")", format.usual));
  }
  for (const ForeignCodec& codec : kOtherDecoders) add(checkDecoder(codec.name, codec.use, false));
}

std::string versionText(unsigned int version) {
  return std::to_string(AV_VERSION_MAJOR(version)) + "." + std::to_string(AV_VERSION_MINOR(version)) + "." +
         std::to_string(AV_VERSION_MICRO(version));
}

Check checkThreading() {
  const std::string built = TBB_VERSION_STRING, running = TBB_runtime_version();
  const bool enough = TBB_runtime_interface_version() >= TBB_INTERFACE_VERSION;
  if (enough) return {"library tbb", CheckState::Ok, "built with " + built + ", running " + running, true};
  return {"library tbb", CheckState::Wrong,
          "built with " + built + ", running the older " + running + "; install libtbb12 of at least that version",
          true};
}

void addLibraries(std::vector<Check>& checks) {
  checks.push_back(checkLibrary("avformat", LIBAVFORMAT_VERSION_INT, avformat_version()));
  checks.push_back(checkLibrary("avcodec", LIBAVCODEC_VERSION_INT, avcodec_version()));
  checks.push_back(checkLibrary("avutil", LIBAVUTIL_VERSION_INT, avutil_version()));
  checks.push_back(checkLibrary("swscale", LIBSWSCALE_VERSION_INT, swscale_version()));
  checks.push_back(checkThreading());
}

Check checkProcessor() {
  std::string levels;
  for (const CpuLevel level : cpuLevels()) levels += (levels.empty() ? "" : ", ") + std::string(cpuLevelName(level));
  std::string targets;
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    targets += std::string(targets.empty() ? "" : ", ") + hwy::TargetName(target);
  }
  return {"processor", CheckState::Ok,
          std::string(cpuLevelName(cpuLevel())) + " in use, of " + levels + "; Highway " + std::to_string(HWY_MAJOR) +
              "." + std::to_string(HWY_MINOR) + "." + std::to_string(HWY_PATCH) + " with " + targets,
          true};
}

std::string temporaryFolder() {
  const char* named = std::getenv("TMPDIR");
  return named != nullptr && *named != '\0' ? named : "/tmp";
}

// An uneven green screen with a grey and a skin-coloured bar whose edges are soft; opaque, in host order.
std::vector<unsigned char> drawnPicture() {
  std::vector<unsigned char> picture;
  const auto mixed = [](int screen, int subject, int share) {
    return static_cast<unsigned char>((screen * (16 - share) + subject * share) / 16);
  };
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const int grey = std::clamp(24 - std::abs(x - 60), 0, 16), skin = std::clamp(24 - std::abs(y - 70), 0, 16);
      const int noise = (x * 7 + y * 13 + x * y) % 5 - 2;
      const int screen[3] = {40 + noise, 160 - x / 5 + noise, 70 + y / 8 + noise}, tint[3] = {205, 150, 125};
      picture.push_back(255);
      for (int c = 0; c < 3; ++c) picture.push_back(mixed(mixed(screen[c], tint[c], skin), 128, grey));
    }
  }
  return picture;
}

// FNV-1a.
void addToHash(unsigned long long& hash, const std::vector<unsigned char>& bytes) {
  for (const unsigned char byte : bytes) hash = (hash ^ byte) * 1099511628211ULL;
}

// Of the drawn picture keyed in every way that takes other routines.
unsigned long long keyedHash() {
  const std::vector<unsigned char> picture = drawnPicture();
  std::vector<unsigned char> keyed(picture.size());
  unsigned long long hash = 14695981039346656037ULL;
  for (const int options : {0, 1, 2, 3}) {
    KeySettings settings = defaultSettings();
    settings.keyColor = {0.16, 0.56, 0.3};
    settings.smoothBG = options & 1;
    settings.deBlocking = settings.edgeContract = settings.edgeBlur = options >> 1;
    render(settings, packedFrame(picture.data(), kWidth, kHeight), packedFrame(keyed.data(), kWidth, kHeight));
    addToHash(hash, keyed);
  }
  return hash;
}

}  // namespace

std::string checkStateName(CheckState state) {
  return state == CheckState::Ok ? "ok" : state == CheckState::Missing ? "missing" : "wrong";
}

Check checkEncoder(const std::string& name, const std::string& use, bool needed) {
  return checkCodec("encoder", avcodec_find_encoder_by_name(name.c_str()) != nullptr, name, use, needed);
}

Check checkDecoder(const std::string& name, const std::string& use, bool needed) {
  return checkCodec("decoder", avcodec_find_decoder_by_name(name.c_str()) != nullptr, name, use, needed);
}

Check checkLibrary(const std::string& name, unsigned int built, unsigned int running) {
  const std::string versions = "built with " + versionText(built) + ", running " + versionText(running);
  if (AV_VERSION_MAJOR(built) == AV_VERSION_MAJOR(running)) return {"library " + name, CheckState::Ok, versions, true};
  return {"library " + name, CheckState::Wrong,
          versions + ": another kind of library than this program expects; build it again on this machine", true};
}

Check checkFolder(const std::string& name, const std::string& folder) {
  std::string file = (std::filesystem::path(folder) / "kalvetra-XXXXXX").string();
  const int descriptor = mkstemp(file.data());
  if (descriptor < 0) {
    return {name, CheckState::Wrong, folder + ": no file can be made there; make it, or let TMPDIR name another folder",
            false};
  }
  const bool written = ::write(descriptor, "kalvetra", 8) == 8;
  ::close(descriptor);
  std::remove(file.c_str());
  if (!written) return {name, CheckState::Wrong, folder + ": cannot be written to; free some space on its disk", false};
  return {name, CheckState::Ok, folder + " can be written to", false};
}

Check checkMemory(double memory, unsigned int cores) {
  constexpr double kGiB = 1024.0 * 1024.0 * 1024.0;
  char text[96];
  std::snprintf(text, sizeof text, "%u cores, %.1f GiB", cores, memory / kGiB);
  const Check check{"cores and memory", CheckState::Ok, text, false};
  if (memory >= kMemoryOfAClip + kMemoryOfAThread * cores) return check;
  return {check.name, CheckState::Wrong, check.detail + ": little for pictures of 3840 x 2160; give fewer --threads",
          false};
}

std::vector<Check> checkEngine(unsigned long long expectedHash) {
  std::vector<Check> checks;
  const CpuLevel inUse = cpuLevel();
  for (const CpuLevel level : cpuLevels()) {
    setCpuLevel(level);
    const std::string name(cpuLevelName(level));
    const unsigned long long hash = keyedHash();
    char text[128] = "gives the bytes that it gives everywhere";
    if (hash != expectedHash) {
      std::snprintf(text, sizeof text,
                    "gives other bytes (%016llx) than elsewhere; build it again with the project's own flags", hash);
    }
    checks.push_back({"engine at " + name, hash == expectedHash ? CheckState::Ok : CheckState::Wrong, text, true});
  }
  setCpuLevel(inUse);
  return checks;
}

std::vector<Check> allChecks() {
  std::vector<Check> checks;
  addCodecs(checks);
  addLibraries(checks);
  checks.push_back(checkProcessor());
  const double memory = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
  checks.push_back(checkMemory(memory, std::max(1u, std::thread::hardware_concurrency())));
  checks.push_back(checkFolder("temporary folder", temporaryFolder()));
  for (Check& check : checkEngine(kDrawnPictureHash)) checks.push_back(std::move(check));
  return checks;
}

}  // namespace kalvetra
