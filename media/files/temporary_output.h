// An output that appears under its final name only when it is complete.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/files/hidden_part.h"

namespace kalvetra {

// What becomes of an output that was not committed.
enum class Unfinished {
  Removed,  // it lies under a name of this process alone
  Kept,     // it lies in a folder that a later run finds again
};

// The path of what goes to the standard output, as the libraries name it.
inline constexpr const char* kStandardOutputAddress = "pipe:1";

// Stands for one output file, for the files of a numbered sequence (a name with %05d or the like), or for "-", the
// standard output, where what is written goes at once. Files lie under a hidden name beside their target until
// commit(); the destructor removes what was not committed, unless it is to be kept. Of a sequence only the pictures
// that are written count: others that its name covers stay as they are.
class TemporaryOutput {
 public:
  // Throws UserError when the target's folder is missing, the name is no good, or the target, where it is one file,
  // exists and `replace` is not set. Removes hidden parts that killed runs have left.
  TemporaryOutput(const std::string& target, bool replace, Unfinished unfinished = Unfinished::Removed);
  ~TemporaryOutput();
  TemporaryOutput(const TemporaryOutput&) = delete;
  TemporaryOutput& operator=(const TemporaryOutput&) = delete;

  bool isSequence() const { return isSequence_; }
  bool isStandardOutput() const { return target_ == "-"; }
  // Where to write: a file, or all pictures of a sequence as one numbered name.
  std::string path() const { return path_.string(); }
  // The file of one picture, of that number (from 1) in a sequence.
  std::string path(int number) const;
  // Throws UserError when a sequence's picture of that number is there, or one of those (ascending), and not to be
  // replaced.
  void refuseTaken(int number) const;
  void refuseTaken(const std::vector<int>& numbers) const;
  // What was found of killed runs, a sentence each.
  const std::vector<std::string>& leftParts() const { return leftParts_; }
  // The folder in which a kept output grows, empty for others; other files of an unfinished run may lie there too. It
  // goes with commit().
  const std::filesystem::path& workFolder() const { return workFolder_; }
  // Does what can be done ahead of commit() where several outputs are to appear together. Throws UserError when
  // something has taken the place meanwhile, or the folder has gone.
  void prepare();
  // Puts the output in its place. Throws like prepare(), which it calls where that was not done; what has taken a place
  // since is kept, and no picture of the output stays in its place then.
  void commit();

 private:
  void checkTarget();
  void listMoves();
  void refuse(const std::filesystem::path& place, const std::string& why) const;
  void moveAll() const;
  void moveBack(std::size_t count) const;

  std::filesystem::path target_;
  bool isSequence_, replace_;
  std::optional<HiddenPart> part_;    // of an output that is not kept
  std::filesystem::path workFolder_;  // of one that is
  std::filesystem::path path_;        // in one of the two
  std::vector<std::string> leftParts_;
  std::vector<std::pair<std::filesystem::path, std::filesystem::path>> moves_;  // from, to
};

}  // namespace kalvetra
