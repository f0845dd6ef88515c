#include "support/local_http_server.h"

#if defined(_WIN32)
#include <winsock2.h>
#define poll WSAPoll
#define close closesocket
#define SOCK_CLOEXEC 0
#define MSG_NOSIGNAL 0
using socklen_t = int;
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <vector>

namespace zttest {

LocalHttpServer::LocalHttpServer(unsigned short port, std::string response, Mode mode)
    : m_response(std::move(response)), m_mode(mode) {
#if defined(_WIN32)
  WSADATA winsock;
  WSAStartup(MAKEWORD(2, 2), &winsock);
#endif
  m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int yes = 1;
  setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&yes), sizeof(yes));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 || listen(m_listener, 8) != 0 ||
      getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    close(m_listener);
    m_listener = -1;
    return;
  }
  m_port = ntohs(address.sin_port);
  m_thread = std::thread([this] { Serve(); });
}

LocalHttpServer::~LocalHttpServer() {
  m_stop = true;
  if (m_thread.joinable()) m_thread.join();
  if (m_listener >= 0) close(m_listener);
}

std::string LocalHttpServer::Url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(m_port) + path;
}

std::string LocalHttpServer::OkResponse(const std::string& body) {
  return "HTTP/1.0 200 OK\r\nContent-Type: application/pkix-crl\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

void LocalHttpServer::Serve() {
  std::vector<int> open;  // stalled connections stay open until the server stops
  while (!m_stop) {
    pollfd p{static_cast<decltype(pollfd::fd)>(m_listener), POLLIN, 0};
    if (poll(&p, 1, 50) <= 0) continue;
    const int connection = accept(m_listener, nullptr, nullptr);
    if (connection < 0) continue;
    ++m_requests;
    if (m_mode == Mode::Stall) {
      open.push_back(connection);
      continue;
    }
    char request[4096];
    std::string received;
    while (received.find("\r\n\r\n") == std::string::npos) {
      const ssize_t n = recv(connection, request, sizeof(request), 0);
      if (n <= 0) break;
      received.append(request, static_cast<std::size_t>(n));
    }
    for (std::size_t sent = 0; sent < m_response.size();) {
      const ssize_t n = send(connection, m_response.data() + sent, m_response.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) break;
      sent += static_cast<std::size_t>(n);
    }
    close(connection);
  }
  for (int connection : open) close(connection);
}

}  // namespace zttest
