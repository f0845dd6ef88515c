// A small HTTP/1.0 client on non-blocking sockets: every step waits with poll() for at most the
// time left before the caller's deadline. Names are resolved on a helper thread, because the
// resolver cannot be given a time-out; a lookup that outlives the deadline finishes on its own and
// its result is dropped.

#include "platform/openssl/http.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>

namespace ZT::Platform {
namespace {

constexpr std::size_t kMaxHeaderSize = 16 * 1024;

std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) { return std::tolower(c); });
  return text;
}

struct Url {
  std::string host;
  std::string port = "80";
  std::string path = "/";
};

// "http://host[:port][/path]"; the scheme in any case.
bool ParseUrl(const std::string& url, Url* out) {
  constexpr std::string_view kScheme = "http://";
  if (url.size() <= kScheme.size() || LowerCase(url.substr(0, kScheme.size())) != kScheme) return false;
  const std::size_t hostStart = kScheme.size();
  const std::size_t pathStart = std::min(url.find('/', hostStart), url.size());
  std::string authority = url.substr(hostStart, pathStart - hostStart);
  if (pathStart < url.size()) out->path = url.substr(pathStart);
  if (!authority.empty() && authority.front() == '[') {
    const std::size_t close = authority.find(']');
    if (close == std::string::npos) return false;
    out->host = authority.substr(1, close - 1);
    authority.erase(0, close + 1);
    if (!authority.empty() && authority.front() != ':') return false;
  } else {
    out->host = authority.substr(0, authority.find(':'));
    authority.erase(0, out->host.size());
  }
  if (!authority.empty()) out->port = authority.substr(1);
  return !out->host.empty() && !out->port.empty() && out->port.size() <= 5 &&
         out->port.find_first_not_of("0123456789") == std::string::npos;
}

int MillisecondsLeft(Deadline deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 1 << 30));
}

struct AddrInfoFree {
  void operator()(addrinfo* list) const noexcept { freeaddrinfo(list); }
};
using AddrInfoPtr = std::unique_ptr<addrinfo, AddrInfoFree>;

// A lookup shared by the waiting caller and the thread that resolves.
struct Lookup {
  std::mutex mutex;
  std::condition_variable done;
  bool finished = false;
  AddrInfoPtr result;
};

AddrInfoPtr Resolve(const Url& url, Deadline deadline) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  addrinfo* list = nullptr;
  // An address literal needs no resolver.
  if (getaddrinfo(url.host.c_str(), url.port.c_str(), &hints, &list) == 0) return AddrInfoPtr(list);

  auto lookup = std::make_shared<Lookup>();
  std::thread([lookup, host = url.host, port = url.port, hints]() mutable {
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    AddrInfoPtr result(getaddrinfo(host.c_str(), port.c_str(), &hints, &found) == 0 ? found : nullptr);
    const std::lock_guard<std::mutex> lock(lookup->mutex);
    lookup->result = std::move(result);
    lookup->finished = true;
    lookup->done.notify_all();
  }).detach();
  std::unique_lock<std::mutex> lock(lookup->mutex);
  if (!lookup->done.wait_until(lock, deadline, [&] { return lookup->finished; })) return nullptr;
  return std::move(lookup->result);
}

class Socket {
 public:
  explicit Socket(int fd) : m_fd(fd) {}
  ~Socket() {
    if (m_fd >= 0) close(m_fd);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  int fd() const { return m_fd; }
  bool valid() const { return m_fd >= 0; }

  // Waits for `events` until the deadline.
  bool Wait(short events, Deadline deadline) const {
    for (;;) {
      pollfd p{m_fd, events, 0};
      const int ready = poll(&p, 1, MillisecondsLeft(deadline));
      if (ready > 0) return true;
      if (ready == 0 || errno != EINTR) return false;
    }
  }

 private:
  int m_fd;
};

// A connected socket to one of the addresses, or an invalid one.
std::unique_ptr<Socket> Connect(const addrinfo* addresses, Deadline deadline) {
  for (const addrinfo* a = addresses; a != nullptr; a = a->ai_next) {
    auto socket = std::make_unique<Socket>(::socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket->valid()) continue;
    if (connect(socket->fd(), a->ai_addr, a->ai_addrlen) == 0) return socket;
    if (errno != EINPROGRESS || !socket->Wait(POLLOUT, deadline)) continue;
    int error = 0;
    socklen_t size = sizeof(error);
    if (getsockopt(socket->fd(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0) return socket;
  }
  return nullptr;
}

bool SendAll(const Socket& socket, const std::string& request, Deadline deadline) {
  for (std::size_t sent = 0; sent < request.size();) {
    const ssize_t n = send(socket.fd(), request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
    if (n > 0) {
      sent += static_cast<std::size_t>(n);
    } else if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
      if (!socket.Wait(POLLOUT, deadline)) return false;
    } else {
      return false;
    }
  }
  return true;
}

// Everything the server sends until it closes, at most `limit` bytes.
bool ReceiveAll(const Socket& socket, std::size_t limit, Deadline deadline, std::string* response) {
  char buffer[8192];
  for (;;) {
    const ssize_t n = recv(socket.fd(), buffer, sizeof(buffer), 0);
    if (n == 0) return true;
    if (n > 0) {
      if (response->size() + static_cast<std::size_t>(n) > limit) return false;
      response->append(buffer, static_cast<std::size_t>(n));
    } else if (errno == EAGAIN || errno == EINTR) {
      if (!socket.Wait(POLLIN, deadline)) return false;
    } else {
      return false;
    }
  }
}

// The Content-Length of a lower-case header block: none (absent), or its value. False when the
// header is there but not a number.
bool ReadContentLength(const std::string& headers, std::optional<std::size_t>* length) {
  constexpr std::string_view kName = "\r\ncontent-length:";
  const std::size_t at = headers.find(kName);
  if (at == std::string::npos) return true;
  const std::size_t value = headers.find_first_not_of(' ', at + kName.size());
  const std::size_t end = headers.find_first_not_of("0123456789", value);
  if (value == std::string::npos || end == value || end - value > 12) return false;
  *length = std::stoull(headers.substr(value, end - value));
  return true;
}

// Status 200, no transfer coding, and the body that the headers announce.
bool TakeBody(const std::string& response, std::size_t maxSize, std::vector<unsigned char>* body) {
  const std::size_t headerEnd = response.find("\r\n\r\n");
  if (headerEnd == std::string::npos || response.compare(0, 5, "HTTP/") != 0) return false;
  const std::size_t status = response.find(' ');
  if (status > headerEnd || response.compare(status + 1, 3, "200") != 0) return false;
  const std::string headers = LowerCase(response.substr(0, headerEnd + 2));
  std::optional<std::size_t> announced;
  if (headers.find("\r\ntransfer-encoding:") != std::string::npos || !ReadContentLength(headers, &announced))
    return false;
  const std::size_t received = response.size() - headerEnd - 4;
  if (announced && *announced > received) return false;
  const std::size_t size = announced.value_or(received);
  if (size > maxSize) return false;
  const auto begin = response.begin() + static_cast<std::ptrdiff_t>(headerEnd + 4);
  body->assign(begin, begin + static_cast<std::ptrdiff_t>(size));
  return true;
}

}  // namespace

bool HttpGet(const std::string& url, Deadline deadline, std::size_t maxSize, std::vector<unsigned char>* body) {
  Url parts;
  if (!ParseUrl(url, &parts)) return false;
  const AddrInfoPtr addresses = Resolve(parts, deadline);
  if (!addresses) return false;
  const std::unique_ptr<Socket> socket = Connect(addresses.get(), deadline);
  if (!socket) return false;
  const bool ipv6Literal = parts.host.find(':') != std::string::npos;
  const std::string host = ipv6Literal ? "[" + parts.host + "]" : parts.host;
  const std::string request = "GET " + parts.path + " HTTP/1.0\r\nHost: " + host +
                              (parts.port == "80" ? "" : ":" + parts.port) +
                              "\r\nAccept: */*\r\nConnection: close\r\n\r\n";
  std::string response;
  return SendAll(*socket, request, deadline) && ReceiveAll(*socket, maxSize + kMaxHeaderSize, deadline, &response) &&
         TakeBody(response, maxSize, body);
}

}  // namespace ZT::Platform
