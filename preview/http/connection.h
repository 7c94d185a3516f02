// One HTTP connection, on which a request has so many bytes and so much time, and no more.
#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <string>

#include "preview/http/connection_limits.h"

namespace kalvetra {

// Collects a request without ever waiting for it; only once it is there is the connection given to a thread that reads
// it, as the library's stream, and answers. For one thread at a time. `listening` is the server's socket, invalid once
// the server is to end: then what is being sent has a second left.
class Connection final : public httplib::Stream {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::size_t kLargestHead = std::size_t{1} << 14;  // bytes: request line and headers

  Connection(socket_t socket, const std::atomic<socket_t>& listening, const ConnectionLimits& limits);
  // Closes the socket.
  ~Connection() override;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Collecting. What is waited for next: a request; the body of the one whose head was read last, `length` bytes; that
  // the other side has read the last answer.
  void awaitRequest();
  void awaitBody(std::size_t length);
  void awaitEnd();
  // Takes what has come.
  void receive();
  // True when all is there, or when no more comes or is taken: what is there can be answered.
  bool isReady() const;
  // True when nothing more is to be had of it, or its time is up.
  bool isOver(Clock::time_point now) const { return now >= deadline_ || (ended_ && !isReady()); }
  Clock::time_point deadline() const { return deadline_; }
  Clock::time_point since() const { return since_; }  // of what is waited for

  // Reading. The head is read first, from the beginning again after awaitBody().
  void beginHead();
  // The head is read; a body of that length is to follow.
  void beginBody(std::size_t length);
  // True when all of it has come, or no more comes.
  bool hasBody(std::size_t length) const { return ended_ || bytes_.size() - next_ >= length; }
  // True when head and body were read to their ends, so that another request can follow.
  bool isAtEnd() const { return inBody_ && left_ == 0; }

  // Of the latest request: the server lets it in.
  bool isAdmitted() const { return isAdmitted_; }
  void setAdmitted(bool isAdmitted) { isAdmitted_ = isAdmitted; }
  std::size_t requests() const { return requests_; }  // whose heads were begun

  bool is_readable() const override { return left_ > 0 && next_ < bytes_.size(); }
  bool is_writable() const override;
  // Reading answers -1 where the bytes are used up, writing where the other side takes none.
  ssize_t read(char* bytes, std::size_t size) override;
  ssize_t write(const char* bytes, std::size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  enum class Awaited { Head, Body, End };

  void await(Awaited what, std::size_t most, std::chrono::milliseconds time);
  void findHeadEnd();
  bool isStopping() const { return listening_ == INVALID_SOCKET; }

  const socket_t socket_;
  const std::atomic<socket_t>& listening_;
  const ConnectionLimits limits_;
  std::string bytes_;          // come, and not yet done with
  std::size_t headEnd_ = 0;    // in them; 0: not yet come
  std::size_t next_ = 0;       // of them to be read
  std::size_t left_ = 0;       // bytes that may still be read
  std::size_t most_ = 0;       // bytes that are collected
  std::size_t discarded_ = 0;  // bytes
  std::size_t requests_ = 0;
  Awaited awaited_ = Awaited::Head;
  bool ended_ = false;  // no more comes
  bool inBody_ = false;
  bool isAdmitted_ = false;
  Clock::time_point since_{}, deadline_{};
};

}  // namespace kalvetra
