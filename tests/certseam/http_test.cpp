#include "platform/openssl/http.h"

#include <gtest/gtest.h>

#include <chrono>

#include "support/local_http_server.h"

namespace {

using zttest::LocalHttpServer;
using namespace std::chrono_literals;

ZT::Platform::Deadline In(std::chrono::milliseconds time) { return std::chrono::steady_clock::now() + time; }

std::string Fetched(const std::string& response, const std::string& path = "/a.crl", std::size_t maxSize = 1024) {
  const LocalHttpServer server(0, response);
  std::vector<unsigned char> body;
  if (!ZT::Platform::HttpGet(server.Url(path), In(2000ms), maxSize, &body)) return "<failed>";
  return std::string(body.begin(), body.end());
}

TEST(HttpGet, TakesTheBodyOfAnOkAnswer) {
  EXPECT_EQ(Fetched(LocalHttpServer::OkResponse("crl bytes")), "crl bytes");
  EXPECT_EQ(Fetched("HTTP/1.1 200 OK\r\n\r\nto the end"), "to the end");
  EXPECT_EQ(Fetched("HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nabcdef"), "abc");
  EXPECT_EQ(Fetched(LocalHttpServer::OkResponse(std::string(1024, 'x'))), std::string(1024, 'x'));
}

TEST(HttpGet, RefusesAnythingElse) {
  EXPECT_EQ(Fetched("HTTP/1.0 404 Not Found\r\nContent-Length: 0\r\n\r\n"), "<failed>");
  EXPECT_EQ(Fetched("HTTP/1.0 301 Moved\r\nLocation: http://127.0.0.1/\r\n\r\n"), "<failed>");
  EXPECT_EQ(Fetched("HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nshort"), "<failed>");
  EXPECT_EQ(Fetched("HTTP/1.0 200 OK\r\nContent-Length: x\r\n\r\nbody"), "<failed>");
  EXPECT_EQ(Fetched("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n0\r\n\r\n"), "<failed>");
  EXPECT_EQ(Fetched(LocalHttpServer::OkResponse(std::string(1025, 'x'))), "<failed>");
  EXPECT_EQ(Fetched("garbage"), "<failed>");
}

TEST(HttpGet, RefusesUrlsItCannotFetch) {
  std::vector<unsigned char> body;
  for (const char* url : {"https://127.0.0.1/a.crl", "ldap://127.0.0.1/cn=crl", "http://", "http://[::1/a",
                          "http://127.0.0.1:port/a", "http://127.0.0.1:123456/a"})
    EXPECT_FALSE(ZT::Platform::HttpGet(url, In(1000ms), 1024, &body)) << url;
}

TEST(HttpGet, GivesUpAtTheDeadline) {
  const LocalHttpServer server(0, "", LocalHttpServer::Mode::Stall);
  std::vector<unsigned char> body;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(ZT::Platform::HttpGet(server.Url("/a.crl"), In(200ms), 1024, &body));
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed, 150ms);
  EXPECT_LT(elapsed, 3s);
  // A deadline already passed fails at once.
  EXPECT_FALSE(ZT::Platform::HttpGet(server.Url("/a.crl"), In(-1ms), 1024, &body));
}

TEST(HttpGet, AddressesIpv6LiteralsAndDefaultPaths) {
  const LocalHttpServer server(0, LocalHttpServer::OkResponse("ok"));
  std::vector<unsigned char> body;
  ASSERT_TRUE(ZT::Platform::HttpGet("HTTP://127.0.0.1:" + std::to_string(server.Port()), In(2000ms), 16, &body));
  EXPECT_EQ(std::string(body.begin(), body.end()), "ok");
  // Nothing listens on the IPv6 loopback at that port: refused, not hung.
  EXPECT_FALSE(ZT::Platform::HttpGet("http://[::1]:" + std::to_string(server.Port()) + "/", In(2000ms), 16, &body));
}

}  // namespace
