// Plain HTTP retrieval for the chain engine's CRL distribution points.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace ZT::Platform {

using Deadline = std::chrono::steady_clock::time_point;

// The body of an HTTP/1.0 GET of `url` ("http://host[:port][/path]", host a name, an IPv4
// address or a bracketed IPv6 address). False when the URL is not of that form, the host does not
// resolve, no address accepts the connection, the answer is not "200" with a body of at most
// `maxSize` bytes (a Content-Length, when given, must be met), or `deadline` passes before the
// body is complete: name resolution, connecting, sending and receiving all count against it.
// Redirects are not followed and no proxy is used.
bool HttpGet(const std::string& url, Deadline deadline, std::size_t maxSize, std::vector<unsigned char>* body);

}  // namespace ZT::Platform
