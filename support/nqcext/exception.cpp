#include <string>

#include "nq/nqcext.h"

namespace ZT::Framework {

IException::~IException() = default;

CException::CException(WString sFilename, std::uint64_t nLineNumber, WString sMessage, std::uint64_t nId,
                       IException* pInner)
    : m_sFilename(std::move(sFilename)),
      m_nLineNumber(nLineNumber),
      m_sMessage(std::move(sMessage)),
      m_nId(nId),
      m_pInner(pInner) {}

CException::CException(const CException& other) = default;
CException& CException::operator=(const CException& other) = default;
CException::~CException() = default;

std::uint64_t CException::getLineNumber() const { return m_nLineNumber; }
WString CException::getFilename() const { return m_sFilename; }
IException* CException::getInnerException() const { return m_pInner.get(); }
WString CException::getMessage() const { return m_sMessage; }
const wchar_t* CException::what() { return m_sMessage.c_str(); }
std::uint64_t CException::getID() const { return m_nId; }

WString CException::toString() const {
  const std::wstring line = std::to_wstring(m_nLineNumber), id = std::to_wstring(m_nId);
  WString text = m_sFilename + L"(" + line.c_str() + L"): " + m_sMessage + L" [ID " + id.c_str() + L"]";
  if (m_pInner) text += L" <- " + m_pInner->toString();
  return text;
}

}  // namespace ZT::Framework
