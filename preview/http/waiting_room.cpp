#include "preview/http/waiting_room.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <tuple>

namespace kalvetra {

namespace {

// Which of two is dropped first.
bool isLessMissed(const std::unique_ptr<Connection>& a, const std::unique_ptr<Connection>& b) {
  return std::make_tuple(a->isAdmitted(), a->since()) < std::make_tuple(b->isAdmitted(), b->since());
}

}  // namespace

WaitingRoom::WaitingRoom(std::size_t most, HandOver handOver) : most_(most), handOver_(std::move(handOver)) {
  if (::pipe(wakeUp_) != 0) throw std::system_error(errno, std::generic_category(), "no pipe for the server");
  for (const int end : wakeUp_) ::fcntl(end, F_SETFL, O_NONBLOCK);
  thread_ = std::thread([this] { work(); });
}

WaitingRoom::~WaitingRoom() {
  close();
  for (const int end : wakeUp_) ::close(end);
}

void WaitingRoom::take(std::unique_ptr<Connection> connection) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return closed_ || arrived_.size() < most_; });
  add(std::move(connection));
}

void WaitingRoom::takeBack(std::unique_ptr<Connection> connection) {
  const std::lock_guard lock(mutex_);
  --away_;
  add(std::move(connection));
}

// The mutex is held.
void WaitingRoom::add(std::unique_ptr<Connection> connection) {
  if (closed_) return;
  arrived_.push_back(std::move(connection));
  wake();
}

void WaitingRoom::wake() const {
  const char any = 0;
  [[maybe_unused]] const ssize_t written = ::write(wakeUp_[1], &any, 1);  // a full pipe wakes, too
}

void WaitingRoom::close() {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    wake();
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void WaitingRoom::work() {
  while (letIn()) {
    handOverReady();
    dropSurplus();
    watch();
  }
  waiting_.clear();
}

// False once the room is closed.
bool WaitingRoom::letIn() {
  Connections arrived;
  {
    const std::lock_guard lock(mutex_);
    arrived.swap(arrived_);
    if (closed_) return false;
  }
  changed_.notify_all();
  for (auto& connection : arrived) {
    if (!connection->isReady()) connection->receive();
    waiting_.push_back(std::move(connection));
  }
  return true;
}

void WaitingRoom::handOverReady() {
  const auto now = Connection::Clock::now();
  for (auto& connection : waiting_) {
    if (connection->isReady()) {
      {
        const std::lock_guard lock(mutex_);
        ++away_;
      }
      handOver_(std::move(connection));
    } else if (connection->isOver(now)) {
      connection.reset();
    }
  }
  std::erase(waiting_, nullptr);
}

void WaitingRoom::dropSurplus() {
  std::size_t away = 0;
  {
    const std::lock_guard lock(mutex_);
    away = away_;
  }
  while (!waiting_.empty() && waiting_.size() + away > most_) {
    waiting_.erase(std::min_element(waiting_.begin(), waiting_.end(), isLessMissed));
  }
}

// Until something comes, or some time is up.
void WaitingRoom::watch() {
  std::vector<pollfd> watched{{wakeUp_[0], POLLIN, 0}};
  for (const auto& connection : waiting_) watched.push_back({connection->socket(), POLLIN, 0});
  if (::poll(watched.data(), watched.size(), untilNextDeadline()) <= 0) return;
  std::array<char, 256> wakes;
  while (watched.front().revents != 0 && ::read(wakeUp_[0], wakes.data(), wakes.size()) > 0) continue;
  for (std::size_t i = 0; i < waiting_.size(); ++i) {
    if (watched[i + 1].revents != 0) waiting_[i]->receive();
  }
}

// Milliseconds; without end where nothing waits.
int WaitingRoom::untilNextDeadline() const {
  if (waiting_.empty()) return -1;
  const auto isSooner = [](const auto& a, const auto& b) { return a->deadline() < b->deadline(); };
  const auto next = (*std::min_element(waiting_.begin(), waiting_.end(), isSooner))->deadline();
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Connection::Clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, 1000));
}

}  // namespace kalvetra
