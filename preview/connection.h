// One HTTP connection, on which a request has so many bytes and so much time, and no more.
#pragma once

#include <httplib.h>

#include <array>
#include <atomic>
#include <chrono>

namespace kalvetra {

// For one thread. `listening` is the server's socket, invalid once the server is to end: then nothing is read any
// more, and what is being sent has a second left.
class Connection final : public httplib::Stream {
 public:
  Connection(socket_t socket, const std::atomic<socket_t>& listening) : socket_(socket), listening_(listening) {}
  // Closes the socket, after a moment for the other side to read its answer.
  ~Connection() override;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Waits so long for a request to begin; from then on its head may have so many bytes. False when none came.
  bool awaitHead(std::chrono::milliseconds idle, std::size_t most);
  // The head is read; a body of that length is to follow.
  void beginBody(std::size_t length);
  // True when head and body were read to their ends, so that another request can follow.
  bool isAtEnd() const { return inBody_ && left_ == 0; }

  bool is_readable() const override;
  bool is_writable() const override;
  // Both answer -1 where bytes or time are used up.
  ssize_t read(char* bytes, std::size_t size) override;
  ssize_t write(const char* bytes, std::size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  using Clock = std::chrono::steady_clock;
  bool isStopping() const { return listening_ == INVALID_SOCKET; }
  bool wait(short events, Clock::time_point deadline, std::chrono::milliseconds afterStop) const;
  bool fill();

  const socket_t socket_;
  const std::atomic<socket_t>& listening_;
  std::array<char, 4096> buffer_{};  // the library asks for single bytes
  std::size_t next_ = 0, end_ = 0;   // what of it is not yet read
  std::size_t left_ = 0;             // bytes that may still be read
  bool inBody_ = false;
  Clock::time_point deadline_{};
};

}  // namespace kalvetra
