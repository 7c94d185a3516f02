#include "preview/http/connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace kalvetra {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kWriteTime{30000};                   // without any progress
constexpr milliseconds kStopTime{1000};                     // to send, once the server is to end
constexpr milliseconds kSlice{50};                          // between looks at whether the server is to end
constexpr std::size_t kMostIgnored = std::size_t{1} << 23;  // bytes that are read and forgotten

bool isOnlyLate() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

}  // namespace

Connection::Connection(socket_t socket, const std::atomic<socket_t>& listening, const ConnectionLimits& limits)
    : socket_(socket), listening_(listening), limits_(limits) {
  awaitRequest();
}

Connection::~Connection() { ::close(socket_); }

void Connection::await(Awaited what, std::size_t most, milliseconds time) {
  awaited_ = what;
  most_ = most;
  since_ = Clock::now();
  deadline_ = since_ + time;
}

void Connection::awaitRequest() {
  bytes_.erase(0, next_);
  next_ = 0;
  await(Awaited::Head, kLargestHead, bytes_.empty() ? limits_.idle : limits_.head);
  findHeadEnd();
}

void Connection::awaitBody(std::size_t length) { await(Awaited::Body, headEnd_ + length, limits_.body); }

// What is unread when a socket closes makes the system drop the answer that was sent.
void Connection::awaitEnd() {
  ::shutdown(socket_, SHUT_WR);
  bytes_ = {};
  await(Awaited::End, 0, limits_.linger);
}

// An empty line ends the head: the library, too, takes nothing but CR LF for one.
void Connection::findHeadEnd() {
  const std::size_t found = std::string_view(bytes_).substr(0, kLargestHead).find("\n\r\n");
  headEnd_ = found == std::string::npos ? 0 : found + 3;
}

void Connection::receive() {
  std::array<char, kLargestHead> piece;
  const std::size_t room = awaited_ == Awaited::End ? piece.size() : most_ - std::min(most_, bytes_.size());
  if (room == 0) return;
  const ssize_t got = ::recv(socket_, piece.data(), std::min(room, piece.size()), MSG_DONTWAIT);
  if (got < 0 && isOnlyLate()) return;
  ended_ = got <= 0;
  if (ended_) return;
  if (awaited_ == Awaited::End) {
    discarded_ += static_cast<std::size_t>(got);
    ended_ = discarded_ >= kMostIgnored;
    return;
  }
  if (bytes_.empty()) await(Awaited::Head, most_, limits_.head);
  bytes_.append(piece.data(), static_cast<std::size_t>(got));
  if (awaited_ == Awaited::Head) findHeadEnd();
}

bool Connection::isReady() const {
  if (awaited_ == Awaited::End || bytes_.empty()) return false;
  return ended_ || bytes_.size() >= most_ || (awaited_ == Awaited::Head && headEnd_ > 0);
}

void Connection::beginHead() {
  if (awaited_ == Awaited::Head) ++requests_;
  next_ = 0;
  left_ = headEnd_ > 0 ? headEnd_ : std::min(bytes_.size(), kLargestHead);
  inBody_ = isAdmitted_ = false;
}

void Connection::beginBody(std::size_t length) {
  left_ = length;
  inBody_ = true;
}

// Where the system says neither yes nor no, the time decides.
bool Connection::is_writable() const {
  Clock::time_point deadline = Clock::now() + kWriteTime;
  for (bool stopping = false;;) {
    if (!stopping && isStopping()) {
      stopping = true;
      deadline = std::min(deadline, Clock::now() + kStopTime);
    }
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    pollfd state{socket_, POLLOUT, 0};
    const int ready = ::poll(&state, 1, static_cast<int>(std::clamp(left, milliseconds(0), kSlice).count()));
    if (ready > 0) return true;
    if ((ready < 0 && errno != EINTR) || left <= milliseconds(0)) return false;
  }
}

ssize_t Connection::read(char* bytes, std::size_t size) {
  if (isStopping() || !is_readable()) return -1;
  const std::size_t count = std::min({size, left_, bytes_.size() - next_});
  std::memcpy(bytes, bytes_.data() + next_, count);
  next_ += count;
  left_ -= count;
  return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* bytes, std::size_t size) {
  for (std::size_t sent = 0; sent < size;) {
    if (!is_writable()) return -1;
    const ssize_t count = ::send(socket_, bytes + sent, size - sent, MSG_DONTWAIT);
    if (count < 0 && !isOnlyLate()) return -1;
    sent += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  return static_cast<ssize_t>(size);
}

// Of no interest: all requests come from this machine.
void Connection::get_remote_ip_and_port(std::string& ip, int& port) const {
  ip.clear();
  port = 0;
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const { get_remote_ip_and_port(ip, port); }

}  // namespace kalvetra
