// A one-thread HTTP server on 127.0.0.1 for tests of URL retrieval: it answers every request with
// the same bytes, or keeps the connection open without answering.
#pragma once

#include <atomic>
#include <string>
#include <thread>

namespace zttest {

class LocalHttpServer {
 public:
  enum class Mode { Answer, Stall };

  // Listens on `port` (0: any free port). `response` is sent as it is, the whole HTTP response.
  LocalHttpServer(unsigned short port, std::string response, Mode mode = Mode::Answer);
  ~LocalHttpServer();
  LocalHttpServer(const LocalHttpServer&) = delete;
  LocalHttpServer& operator=(const LocalHttpServer&) = delete;

  // False when the port could not be bound (another process has it).
  bool Listening() const { return m_listener >= 0; }
  unsigned short Port() const { return m_port; }
  // "http://127.0.0.1:<port>" followed by `path`.
  std::string Url(const std::string& path) const;
  // How many requests were accepted.
  int Requests() const { return m_requests.load(); }

  // "HTTP/1.0 200 OK", a Content-Length and `body`.
  static std::string OkResponse(const std::string& body);

 private:
  void Serve();

  int m_listener = -1;
  unsigned short m_port = 0;
  std::string m_response;
  Mode m_mode;
  std::atomic<bool> m_stop{false};
  std::atomic<int> m_requests{0};
  std::thread m_thread;
};

}  // namespace zttest
