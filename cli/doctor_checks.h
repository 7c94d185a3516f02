// Whether this machine has what the program needs.
#pragma once

#include <string>
#include <vector>

namespace kalvetra {

enum class CheckState { Ok, Missing, Wrong };

struct Check {
  std::string name;  // what was looked at: "encoder prores_ks"
  CheckState state;
  std::string detail;  // what was found; where it is not ok, what that means and what to do
  bool needed;         // by the outputs that every installation shall write
};

// "ok", "missing", "wrong".
std::string checkStateName(CheckState state);

// Everything, in the order in which it is to be read.
std::vector<Check> allChecks();

// A codec of the FFmpeg libraries by its name there; `use` says what it is good for.
Check checkEncoder(const std::string& name, const std::string& use, bool needed);
Check checkDecoder(const std::string& name, const std::string& use, bool needed);
// Versions as the FFmpeg libraries number them; the major numbers must agree.
Check checkLibrary(const std::string& name, unsigned int built, unsigned int running);
// That files can be made in the folder.
Check checkFolder(const std::string& name, const std::string& folder);
// Whether the memory, in bytes, does for large pictures on that many cores.
Check checkMemory(double memory, unsigned int cores);
// The hash that the engine's pictures have everywhere.
inline constexpr unsigned long long kDrawnPictureHash = 0x618b57faadb696bbULL;
// Keys a small drawn picture at every CPU level. The result must have that hash at each of them.
std::vector<Check> checkEngine(unsigned long long expectedHash);

}  // namespace kalvetra
