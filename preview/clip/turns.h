// Who renders next: only so many requests are worked on at once, and those that a newer one has overtaken are dropped.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace kalvetra {

class Turns {
 public:
  explicit Turns(int atOnce) : free_(atOnce) {}

  // One request's right to be worked on, from its construction, which waits for it, to its end.
  class Turn {
   public:
    // A viewer is one picture on a page; its requests are numbered in order. Without a name nothing is overtaken.
    // Throws Conflict when one with a higher number has come, or comes while this one waits.
    Turn(Turns& turns, std::string viewer, std::int64_t sequence);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    bool isOvertaken() const;

   private:
    Turns& turns_;
    std::string viewer_;
    std::int64_t sequence_;
  };

 private:
  static constexpr std::size_t kMostViewers = 64;

  bool overtakes(const std::string& viewer, std::int64_t sequence) const;
  void announce(const std::string& viewer, std::int64_t sequence);

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, std::int64_t> newest_;  // by viewer
  int free_;
};

}  // namespace kalvetra
