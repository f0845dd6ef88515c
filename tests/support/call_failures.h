// Tables of platform call failures: each row makes one call of a seam entry fail
// (platform/testing.h) and says what the library then throws and logs. The tables live in
// tests/fixtures/failures/<family>.txt, in sections; a row reads
//
//   fail BCryptHashData 1 0xc0000008          entry, which call of it (1: the first), code
//   id 4004                                   the id of the exception thrown
//   throws Digest failed                      its message; a further "throws" line for each
//   throws BCryptHashData failed              inner exception, outermost first
//   error CCNGMessageDigest::Digest : ...     the level-1 lines, in order
//   returns CCNGMessageDigest::Digest Returns Digest failed     the last level-16 line
//
// with blank lines between rows and "# ..." comments.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/wintypes.h"

namespace zttest {

struct CallFailureRow {
  std::string entry;
  unsigned nth = 1;
  DWORD code = 0;
  std::uint64_t id = 0;
  std::vector<std::wstring> messages;
  std::vector<std::wstring> errors;
  std::wstring returns;

  // "<entry> call <nth>", for SCOPED_TRACE.
  std::string Name() const;
};

// The rows of section `[section]` of tests/fixtures/failures/<family>.txt; a failure when the
// file or the section is missing or a line is not understood.
std::vector<CallFailureRow> ReadCallFailures(const std::string& family, const std::string& section);

// Arms the row's failure, runs `operation`, which must throw, and checks the exception chain,
// the level-1 lines and the last exit line against the row, and that the armed call happened.
// Every armed failure is removed afterwards.
void ExpectCallFailure(const CallFailureRow& row, const std::function<void()>& operation);

// Checks, as it goes, that as many seam handles are live as when it was made: whatever a
// failing path opened was released.
class NoHandleLeft {
 public:
  NoHandleLeft();
  ~NoHandleLeft();
  NoHandleLeft(const NoHandleLeft&) = delete;
  NoHandleLeft& operator=(const NoHandleLeft&) = delete;

 private:
  std::size_t m_live;
};

}  // namespace zttest
