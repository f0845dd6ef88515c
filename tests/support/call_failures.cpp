#include "support/call_failures.h"

#include <sstream>

#include "platform/testing.h"
#include "support/log_capture.h"
#include "support/sections.h"
#include "support/thrown.h"

namespace zttest {

namespace {

namespace Testing = ZT::Platform::Testing;

// The tables are ASCII.
std::wstring Wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

// Reads "fail <entry> <nth> <code>" into a new row.
bool StartRow(const std::string& rest, CallFailureRow* row) {
  std::istringstream in(rest);
  std::string code;
  if (!(in >> row->entry >> row->nth >> code)) return false;
  row->code = static_cast<DWORD>(std::stoul(code, nullptr, 0));
  return true;
}

bool ReadField(const std::string& key, const std::string& rest, CallFailureRow* row) {
  if (key == "id") row->id = std::stoull(rest);
  else if (key == "throws") row->messages.push_back(Wide(rest));
  else if (key == "error") row->errors.push_back(Wide(rest));
  else if (key == "returns") row->returns = Wide(rest);
  else return false;
  return true;
}

std::vector<std::wstring> MessageChain(const ZT::Framework::IException* e) {
  std::vector<std::wstring> messages;
  for (; e != nullptr; e = e->getInnerException()) {
    const ZT::Framework::WString message = e->getMessage();
    messages.emplace_back(message.begin(), message.end());
  }
  return messages;
}

}  // namespace

std::string CallFailureRow::Name() const { return entry + " call " + std::to_string(nth); }

std::vector<CallFailureRow> ReadCallFailures(const std::string& family, const std::string& section) {
  std::vector<CallFailureRow> rows;
  for (const SectionLine& line : ReadSection("failures/" + family + ".txt", section)) {
    bool understood = false;
    if (line.key == "fail") {
      rows.emplace_back();
      understood = StartRow(line.value, &rows.back());
    } else {
      understood = !rows.empty() && ReadField(line.key, line.value, &rows.back());
    }
    if (!understood) ADD_FAILURE() << family << ".txt: not understood: " << line.key << " " << line.value;
  }
  return rows;
}

void ExpectCallFailure(const CallFailureRow& row, const std::function<void()>& operation) {
  SCOPED_TRACE(row.Name());
  LogCapture capture(NQLOG_EXIT);
  Testing::FailCall(row.entry.c_str(), row.code, row.nth);
  const auto e = Thrown(operation);
  EXPECT_EQ(Testing::PendingCallFailures(), 0u) << "the armed call did not happen";
  Testing::ResetCallFailures();
  ASSERT_TRUE(e) << "no exception";
  EXPECT_EQ(e->getID(), row.id);
  EXPECT_EQ(MessageChain(e.get()), row.messages);
  EXPECT_EQ(capture.At(NQLOG_ERROR), row.errors);
  const std::vector<std::wstring> exits = capture.At(NQLOG_EXIT);
  EXPECT_EQ(exits.empty() ? L"<no exit line>" : exits.back(), row.returns);
}

NoHandleLeft::NoHandleLeft() : m_live(Testing::LiveHandleCount()) {}

NoHandleLeft::~NoHandleLeft() { EXPECT_EQ(Testing::LiveHandleCount(), m_live) << "seam handles left live"; }

}  // namespace zttest
