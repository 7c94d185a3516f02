// An output that appears under its final name only when it is complete.
#pragma once

#include <filesystem>
#include <string>

#include "media/numbered_name.h"

namespace kalvetra {

// Stands for one output file, or for the files of a numbered sequence (a name with %05d or the like). Until commit()
// all of it lies under a hidden name beside its target; the destructor removes what was not committed.
class TemporaryOutput {
 public:
  // Throws UserError when the target's folder is missing, the name is no good, or the target exists and `replace` is
  // not set.
  TemporaryOutput(const std::string& target, bool replace);
  ~TemporaryOutput();
  TemporaryOutput(const TemporaryOutput&) = delete;
  TemporaryOutput& operator=(const TemporaryOutput&) = delete;

  bool isSequence() const { return isSequence_; }
  // Where to write: a file, or the picture of that number (from 1) of a sequence.
  std::string path() const { return temporary_.string(); }
  std::string path(int number) const;
  // Puts the output in its place; a replaced sequence loses all of its old pictures.
  void commit();

 private:
  bool targetExists() const;
  void commitSequence();

  std::filesystem::path target_;
  std::filesystem::path temporary_;  // a folder, for a sequence
  bool replace_;
  bool isSequence_;
};

// Throws UserError when writing `output` would replace the file `input`, or a picture of it, where either may be a
// numbered name.
void refuseOverwritingInput(const std::string& input, const std::string& output);

}  // namespace kalvetra
