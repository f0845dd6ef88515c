// ICertPEMStore: one certificate read from a file and written to a file through a mapped view of
// it, the bytes passed through unchanged.

#include <cstring>

#include "cng/crypto.cng.util.h"
#include "zt/certstore.h"

namespace ZT::Framework {

namespace {

// The system's codes stand in the messages with at least two hex digits ("(0x02)").
constexpr std::size_t kCodeDigits = 2;

// The handles of a mapped file, released together (CryptoUtil::freeHandles) on every path.
struct MappedFile {
  HANDLE hFile = INVALID_HANDLE_VALUE;
  HANDLE hMapping = nullptr;
  LPVOID pView = nullptr;

  MappedFile() = default;
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  ~MappedFile() { CryptoUtil::freeHandles(pView, hMapping, hFile); }
};

[[noreturn]] void RaiseWithCode(const FunctionTrace& fn, const WString& text, SourceLine where = SourceLine()) {
  fn.Raise(RaiseAt(CRYPTO_BAD_PARAM, where), WithCode(text, GetLastError(), kCodeDigits));
}

void OpenFile(const FunctionTrace& fn, MappedFile& file, const WString& sFilename, DWORD access, DWORD share,
              DWORD disposition, DWORD attributes) {
  file.hFile = CreateFileW(sFilename.c_str(), access, share, nullptr, disposition, attributes, nullptr);
  if (file.hFile == INVALID_HANDLE_VALUE) RaiseWithCode(fn, L"Error openning the file " + sFilename);
}

// A view of `size` bytes of the file (0: the whole file).
void MapFile(const FunctionTrace& fn, MappedFile& file, DWORD protect, DWORD size, DWORD viewAccess) {
  file.hMapping = CreateFileMappingW(file.hFile, nullptr, protect, 0, size, nullptr);
  if (file.hMapping == nullptr) RaiseWithCode(fn, L"Error creating file mapping");
  file.pView = MapViewOfFile(file.hMapping, viewAccess, 0, 0, 0);
  if (file.pView == nullptr) RaiseWithCode(fn, L"Error mapping view of file");
}

}  // namespace

ICertificate* ICertPEMStore::load(const WString& sFilename) {
  const FunctionTrace fn(L"ICertPEMStore::load");
  return fn.Run([&] {
    fn.Data(L"sFilename=%s", sFilename);
    if (sFilename.empty()) fn.Raise(CRYPTO_BAD_PARAM, L"sFilename=empty!");
    std::unique_ptr<ICertificate> pCertificate;
    {
      MappedFile file;
      OpenFile(fn, file, sFilename, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0);
      MapFile(fn, file, PAGE_READONLY, 0, FILE_MAP_READ);
      const DWORD dwSize = GetFileSize(file.hFile, nullptr);
      if (dwSize == INVALID_FILE_SIZE) RaiseWithCode(fn, L"Error getting the file size");
      const auto* view = static_cast<const BYTE*>(file.pView);
      const ByteArray baEncoded(view, view + dwSize);
      pCertificate.reset(
          fn.Wrap(L"ICertificate::Create() failed", [&] { return ICertificate::Create(CERT_FORMAT_X509, baEncoded); }));
    }
    fn.Data(L"pCertificate=%#x", static_cast<const void*>(pCertificate.get()));
    return pCertificate.release();
  });
}

void ICertPEMStore::save(ICertificate* pStore, const WString& sFilename) {
  const FunctionTrace fn(L"ICertPEMStore::save");
  fn.Run([&] {
    fn.Data(L"pStore=%#x", static_cast<const void*>(pStore));
    fn.Data(L"sFilename=%s", sFilename);
    if (pStore == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pStore=NULL!");
    if (sFilename.empty()) fn.Raise(CRYPTO_BAD_PARAM, L"sFilename=empty!");
    const ByteArray baEncoded = pStore->GetEncoded();
    MappedFile file;
    OpenFile(fn, file, sFilename, GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE, 0, CREATE_ALWAYS,
             FILE_ATTRIBUTE_NORMAL);
    // A mapping as long as the encoding makes the file that long.
    MapFile(fn, file, PAGE_EXECUTE_READWRITE, static_cast<DWORD>(baEncoded.size()), FILE_MAP_ALL_ACCESS);
    std::memcpy(file.pView, baEncoded.data(), baEncoded.size());
  });
}

}  // namespace ZT::Framework
