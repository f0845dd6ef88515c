#include "common/crypto.padding.h"

#include <memory>

#include "zt/digest.h"
#include "zt/random.h"

namespace ZT::Framework {

IPadding::IPadding() = default;
IPadding::IPadding(const IPadding&) = default;
IPadding& IPadding::operator=(const IPadding&) = default;
IPadding::~IPadding() = default;

namespace Padding {

namespace {

std::unique_ptr<IAlgorithm> AlgorithmNamed(const wchar_t* friendlyName) {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(friendlyName, parameters.get()));
}

}  // namespace

void RequireMessageFits(const FunctionTrace& fn, std::uint32_t mLen, std::uint32_t limit, std::uint32_t shownLimit,
                        SourceLine where) {
  if (mLen > limit)
    fn.Raise(RaiseAt(CRYPTO_BAD_PARAM, where), L"Data to Encode Length is invalid",
             L"Data to Encode Length is invalid (%d > %d)", mLen, shownLimit);
}

std::uint32_t FillLength(const FunctionTrace& fn, std::uint32_t k, std::uint32_t used, SourceLine where) {
  if (used > k) fn.Raise(RaiseAt(CRYPTO_INTERNAL_ERROR, where), L"Error : No memory");
  return k - used;
}

ByteArray RandomBytes(const FunctionTrace& fn, std::uint32_t nLength, SourceLine where) {
  return fn.Wrap(L"GenerateRandom failed", [&] {
    const auto algorithm = AlgorithmNamed(L"FIPS186DSARNG");
    const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
    const std::unique_ptr<RandomGenerator> generator(RandomGenerator::Create(algorithm.get(), map.get()));
    ByteArray random;
    generator->GenerateRandom(nLength, random);
    return random;
  }, where);
}

ByteArray Sha1(const FunctionTrace& fn, const ByteArray& data, SourceLine where) {
  return fn.Wrap(L"Digest failed", [&] {
    const auto algorithm = AlgorithmNamed(L"SHA1");
    const std::unique_ptr<MessageDigest> digest(MessageDigest::Create(algorithm.get(), nullptr));
    ByteArray hash;
    digest->Digest(data, hash);
    return hash;
  }, where);
}

void LogDecodeError(const FunctionTrace& fn, const wchar_t* text) {
  fn.Line(NQLOG_ERROR, Separator::Tight, L"%s", text);
}

}  // namespace Padding

}  // namespace ZT::Framework
