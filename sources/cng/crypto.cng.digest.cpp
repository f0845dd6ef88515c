#include "cng/crypto.cng.digest.h"

#include "cng/crypto.cng.hash.h"
#include "cng/crypto.cng.status.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

namespace {

struct DigestRow {
  const wchar_t* friendlyName;
  unsigned int length;
  const wchar_t* cngAlgorithm;  // null: the length is known, but no provider digests it
};

// SHA224 has a length but no provider: GetDigestLength answers, Digest refuses.
constexpr DigestRow kDigests[] = {
    {L"MD5", 16, BCRYPT_MD5_ALGORITHM},       {L"SHA1", 20, BCRYPT_SHA1_ALGORITHM},
    {L"SHA224", 28, nullptr},                 {L"SHA256", 32, BCRYPT_SHA256_ALGORITHM},
    {L"SHA384", 48, BCRYPT_SHA384_ALGORITHM}, {L"SHA512", 64, BCRYPT_SHA512_ALGORITHM},
};

const DigestRow* FindDigest(const WString& name) {
  for (const DigestRow& row : kDigests)
    if (name == row.friendlyName) return &row;
  return nullptr;
}

constexpr HashStepTexts kDigestTexts{L"BCryptOpenAlgorithmProvider failed", L"BCryptGetProperty(BCRYPT_OBJECT_LENGTH)",
                                     L"BCryptGetProperty(BCRYPT_OBJECT_LENGTH) failed"};

}  // namespace

MessageDigest::MessageDigest() = default;
MessageDigest::MessageDigest(const MessageDigest&) = default;
MessageDigest& MessageDigest::operator=(const MessageDigest&) = default;
MessageDigest::~MessageDigest() = default;

unsigned int CCNGMessageDigest::GetDigestLength() const {
  const FunctionTrace fn(L"CCNGMessageDigest::GetDigestLength", this);
  return fn.Run([&] {
    const WString name = m_pAlgorithm->GetFriendlyName();
    const DigestRow* digest = FindDigest(name);
    if (digest == nullptr)
      fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm", L"Unsupported algorithm: %s", name);
    return digest->length;
  });
}

void CCNGMessageDigest::Update(const ByteArray& baInput) {
  const FunctionTrace fn(L"CCNGMessageDigest::Update", this);
  fn.Run([&] {
    fn.Wrap(L"m_baData.insert() failed", [&] { m_baData.insert(m_baData.end(), baInput.begin(), baInput.end()); });
  });
}

void CCNGMessageDigest::Digest(const ByteArray& baInput, ByteArray& baDigest) {
  const FunctionTrace fn(L"CCNGMessageDigest::Digest", this);
  fn.Run([&] { fn.Wrap(L"Digest failed", [&] { DigestWith(&baInput, baDigest); }); });
}

void CCNGMessageDigest::Digest(ByteArray& baDigest) { DigestWith(nullptr, baDigest); }

void CCNGMessageDigest::DigestWith(const ByteArray* pPending, ByteArray& baDigest) {
  const FunctionTrace fn(L"CCNGMessageDigest::Digest", this);
  fn.Run([&] {
    // Only a digest that succeeded consumes the data: after a failure the caller may retry.
    ConsumeOnSuccess(m_baData, pPending, [&] {
      baDigest.clear();
      const WString name = m_pAlgorithm->GetFriendlyName();
      RequireCNG(fn);
      const DigestRow* digest = FindDigest(name);
      if (digest == nullptr || digest->cngAlgorithm == nullptr)
        fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm", L"Unsupported algorithm: %s", name);
      HashInOnePass(fn, digest->cngAlgorithm, nullptr, {m_baData, pPending}, baDigest, kDigestTexts);
    });
  });
}

}  // namespace ZT::Framework
