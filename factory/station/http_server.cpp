#include "station/http_server.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace factory::station {
namespace {

using std::chrono::milliseconds;

constexpr size_t kUnheardMax = 100;
constexpr milliseconds kSlow{3000};  // that a request may take to come, or a part of an answer to be taken

thread_local socket_t t_socket = -1;

class Connection : public httplib::Stream {
 public:
  explicit Connection(socket_t socket) : socket_(socket) {}

  bool is_readable() const override { return begin_ < end_ || waits_for(POLLIN); }
  bool is_writable() const override {
    char ignored = 0;
    return waits_for(POLLOUT) && recv(socket_, &ignored, 1, MSG_PEEK | MSG_DONTWAIT) != 0;
  }
  ssize_t read(char* to, size_t size) override {
    if (begin_ == end_) {
      const ssize_t count = waits_for(POLLIN) ? recv(socket_, buffer_, sizeof buffer_, 0) : -1;
      if (count <= 0) return count;
      begin_ = 0;
      end_ = static_cast<size_t>(count);
    }
    const size_t count = std::min(size, end_ - begin_);
    memcpy(to, buffer_ + begin_, count);
    begin_ += count;
    return static_cast<ssize_t>(count);
  }
  ssize_t write(const char* from, size_t size) override {
    return is_writable() ? send(socket_, from, size, MSG_NOSIGNAL) : -1;
  }
  void get_remote_ip_and_port(std::string& ip, int& port) const override { name(getpeername, &ip, &port); }
  void get_local_ip_and_port(std::string& ip, int& port) const override { name(getsockname, &ip, &port); }
  socket_t socket() const override { return socket_; }

 private:
  bool waits_for(short what) const {
    pollfd wanted{socket_, what, 0};
    return poll(&wanted, 1, static_cast<int>(kSlow.count())) > 0;
  }

  template <typename Get>
  void name(Get get, std::string* ip, int* port) const {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    char host[NI_MAXHOST] = "";
    char service[NI_MAXSERV] = "0";
    if (get(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0) return;
    if (getnameinfo(reinterpret_cast<sockaddr*>(&address), size, host, sizeof host, service, sizeof service,
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0)
      return;
    *ip = host;
    *port = std::stoi(service);
  }

  const socket_t socket_;
  char buffer_[4096];
  size_t begin_ = 0, end_ = 0;
};

}  // namespace

class HttpServer::Threads : public httplib::ThreadPool {
 public:
  Threads(HttpServer* server, size_t count) : ThreadPool(count), server_(*server) {}
  void enqueue(std::function<void()> work) override {
    server_.make_room(1);
    ThreadPool::enqueue(std::move(work));
  }
  void on_idle() override { server_.make_room(0); }
  void shutdown() override {
    server_.leave_all();
    ThreadPool::shutdown();
  }

 private:
  HttpServer& server_;
};

HttpServer::HttpServer(size_t answering) {
  new_task_queue = [this, answering] {
    // The library lets five wait to be accepted; the next one's computer would try again after a second.
    ::listen(svr_sock_, SOMAXCONN);
    return new Threads(this, answering + kUnheardMax);
  };
  set_idle_interval(1);
}

// Who is left learns it by the end of its connection; its thread closes it.
void HttpServer::make_room(size_t coming) {
  const std::lock_guard<std::mutex> lock(mutex_);
  queued_ += coming;
  const auto is_late = [now = Clock::now()](Clock::time_point since) { return now - since > kSlow; };
  while (!unheard_.empty() && (queued_ + unheard_.size() > kUnheardMax || is_late(unheard_.begin()->first))) {
    shutdown(unheard_.begin()->second, SHUT_RDWR);
    unheard_.erase(unheard_.begin());
  }
}

void HttpServer::leave_all() {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& [since, socket] : unheard_) shutdown(socket, SHUT_RDWR);
  unheard_.clear();
  leaves_ = true;
}

bool HttpServer::heard() {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto own = [](const auto& one) { return one.second == t_socket; };
  const auto at = std::find_if(unheard_.begin(), unheard_.end(), own);
  const bool is_there = at != unheard_.end();
  if (is_there) unheard_.erase(at);
  return is_there;
}

bool HttpServer::process_and_close_socket(socket_t socket) {
  t_socket = socket;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    --queued_;
    if (leaves_) {
      shutdown(socket, SHUT_RDWR);
    } else {
      unheard_.emplace(Clock::now(), socket);
    }
  }
  Connection connection(socket);
  bool closed = false;
  const bool done = process_request(connection, true, closed, nullptr);
  heard();  // from here on the number may be another connection's
  ::shutdown(socket, SHUT_RDWR);
  ::close(socket);
  return done;
}

}  // namespace factory::station
