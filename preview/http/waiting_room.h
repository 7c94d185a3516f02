// Where connections wait for a request to come, so that waiting costs no worker.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "preview/http/connection.h"

namespace kalvetra {

// One thread looks after all connections that wait, and hands over those whose request is there. It drops what waits
// longer than its limits, and, where there are more connections than `most`, waiting and handed over, those that wait
// longest, first those that were never admitted.
class WaitingRoom {
 public:
  // Called by the room's thread; must not block.
  using HandOver = std::function<void(std::unique_ptr<Connection>)>;

  WaitingRoom(std::size_t most, HandOver handOver);
  ~WaitingRoom();
  WaitingRoom(const WaitingRoom&) = delete;
  WaitingRoom& operator=(const WaitingRoom&) = delete;

  // A new one. Waits where more come than the room can look at.
  void take(std::unique_ptr<Connection> connection);
  // One that was handed over, and waits again.
  void takeBack(std::unique_ptr<Connection> connection);
  // Closes all that wait, and from then on what is brought.
  void close();

 private:
  using Connections = std::vector<std::unique_ptr<Connection>>;

  void add(std::unique_ptr<Connection> connection);
  void wake() const;
  void work();
  bool letIn();
  void handOverReady();
  void dropSurplus();
  void watch();
  int untilNextDeadline() const;

  const std::size_t most_;
  const HandOver handOver_;
  int wakeUp_[2];     // a pipe, on which the thread is woken
  std::mutex mutex_;  // of what follows
  std::condition_variable changed_;
  Connections arrived_;
  std::size_t away_ = 0;  // handed over
  bool closed_ = false;
  Connections waiting_;  // of the thread alone
  std::thread thread_;
};

}  // namespace kalvetra
