#include <string>

#include "nq/nqcext.h"

namespace ZT::Framework {

namespace {

[[noreturn]] void ThrowWrongKind(const wchar_t* wanted) {
  throw new CException(L"support/nqcext/datamap", __LINE__, WString(L"NQData does not hold ") + wanted,
                       NQCEXT_WRONG_KIND, nullptr);
}

// Copies the value out when it is of the wanted kind.
template <class T, class Variant>
bool CopyIf(const Variant* value, T& out) {
  if (value == nullptr) return false;
  const T* held = std::get_if<T>(value);
  if (held == nullptr) return false;
  out = *held;
  return true;
}

}  // namespace

// ---- NQData ---------------------------------------------------------------------------------

NQData::NQData() = default;
NQData::NQData(std::uint64_t value) : m_value(value) {}
NQData::NQData(const WString& value) : m_value(value) {}
NQData::NQData(const ByteArray& value) : m_value(value) {}
NQData::NQData(const NQData&) = default;
NQData& NQData::operator=(const NQData&) = default;
NQData::NQData(NQData&&) noexcept = default;
NQData& NQData::operator=(NQData&&) noexcept = default;
NQData::~NQData() = default;

NQData::Kind NQData::kind() const { return static_cast<Kind>(m_value.index()); }

const std::uint64_t& NQData::Uint() const {
  if (const auto* v = std::get_if<std::uint64_t>(&m_value)) return *v;
  ThrowWrongKind(L"an unsigned integer");
}

const WString& NQData::string() const {
  if (const auto* v = std::get_if<WString>(&m_value)) return *v;
  ThrowWrongKind(L"a string");
}

const ByteArray& NQData::byteArray() const {
  if (const auto* v = std::get_if<ByteArray>(&m_value)) return *v;
  ThrowWrongKind(L"a byte array");
}

// ---- DataMap --------------------------------------------------------------------------------

DataMap::DataMap() = default;
DataMap::~DataMap() = default;
DataMap::DataMap(const DataMap& other) : m_entries(other.m_entries) {}

DataMap& DataMap::operator=(const DataMap& other) {
  if (this != &other) m_entries = other.m_entries;
  return *this;
}

void DataMap::EnterProtectedSection() const { m_lock.lock(); }
void DataMap::LeaveProtectedSection() const { m_lock.unlock(); }

std::size_t DataMap::Position(const WString& key, bool* found) const {
  std::size_t low = 0, high = m_entries.size();
  *found = false;
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    const WString& at = m_entries[middle].first;
    const int order = at.size() != key.size() ? (at.size() < key.size() ? -1 : 1) : at.compare(key);
    if (order == 0) {
      *found = true;
      return middle;
    }
    if (order < 0)
      low = middle + 1;
    else
      high = middle;
  }
  return low;
}

DataMap::Value& DataMap::Slot(const WString& key) {
  bool found = false;
  const std::size_t at = Position(key, &found);
  if (!found) m_entries.emplace(m_entries.begin() + static_cast<std::ptrdiff_t>(at), key, Value());
  return m_entries[at].second;
}

void DataMap::Add(const WString& key) { Slot(key) = std::monostate{}; }

void DataMap::Add(const WString& key, const NQData& value) {
  switch (value.kind()) {
    case NQData::Kind::Empty: Slot(key) = std::monostate{}; break;
    case NQData::Kind::Uint: Slot(key) = value.Uint(); break;
    case NQData::Kind::String: Slot(key) = value.string(); break;
    case NQData::Kind::ByteArray: Slot(key) = value.byteArray(); break;
  }
}

void DataMap::Add(const WString& key, const ByteArray& value) { Slot(key) = value; }
void DataMap::Add(const WString& key, unsigned char value) { Slot(key) = value; }
void DataMap::Add(const WString& key, const StringList& value) { Slot(key) = value; }

const DataMap::Value* DataMap::Find(const WString& key) const {
  bool found = false;
  const std::size_t at = Position(key, &found);
  return found ? &m_entries[at].second : nullptr;
}

bool DataMap::Get(const WString& key) const { return Find(key) != nullptr; }

bool DataMap::Get(const WString& key, NQData& value) const {
  const Value* held = Find(key);
  if (held == nullptr) return false;
  if (const auto* v = std::get_if<std::uint64_t>(held)) value.m_value = *v;
  else if (const auto* v = std::get_if<WString>(held)) value.m_value = *v;
  else if (const auto* v = std::get_if<ByteArray>(held)) value.m_value = *v;
  else return false;
  return true;
}

bool DataMap::Get(const WString& key, WString& value) const { return CopyIf(Find(key), value); }
bool DataMap::Get(const WString& key, ByteArray& value) const { return CopyIf(Find(key), value); }
bool DataMap::Get(const WString& key, unsigned char& value) const { return CopyIf(Find(key), value); }
bool DataMap::Get(const WString& key, StringList& value) const { return CopyIf(Find(key), value); }

std::uint64_t DataMap::erase(const WString& key) {
  bool found = false;
  const std::size_t at = Position(key, &found);
  if (!found) return 0;
  m_entries.erase(m_entries.begin() + static_cast<std::ptrdiff_t>(at));
  return 1;
}

// ---- DataMap2 -------------------------------------------------------------------------------

DataMap2::DataMap2() = default;
DataMap2::DataMap2(const DataMap2& other) = default;
DataMap2& DataMap2::operator=(const DataMap2& other) = default;
DataMap2::~DataMap2() = default;

}  // namespace ZT::Framework
