// Certificate bundles: the PKCS #7 bundle's reader and writer against bundles the openssl tool
// wrote.
#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "codec/crypto.asn1.pkcs7.h"
#include "der_hex.h"
#include "support/command.h"
#include "support/tool_runner.h"

using namespace ZT::Framework;
using der_test::Hex;

namespace {

ByteArray Fixture(const std::string& relative) {
  const auto bytes = zttest::ReadFixtureFile(relative);
  return ByteArray(bytes.begin(), bytes.end());
}

// The certificates of `bundle`, none when it is refused.
std::optional<std::vector<ByteArray>> Read(const ByteArray& bundle) {
  std::vector<Der::Bytes> certificates;
  if (!Asn1Read::ReadCertificateBundle(Der::Bytes(bundle.data(), bundle.size()), &certificates)) return std::nullopt;
  std::vector<ByteArray> copies;
  for (const Der::Bytes certificate : certificates) copies.emplace_back(certificate.begin(), certificate.end());
  return copies;
}

TEST(CertificateBundle, ReadsOpensslsBundlesInStoredOrderAndWritesThemBackByteForByte) {
  const std::vector<ByteArray> three = {Fixture("certs/logon.der"), Fixture("certs/intermediate.der"),
                                        Fixture("certs/root.der")};
  EXPECT_EQ(Read(Fixture("stores/three.p7b")), three);
  EXPECT_EQ(Read(Fixture("stores/with_crl.p7b")), (std::vector<ByteArray>{three[1], three[2]}));
  EXPECT_EQ(Read(Fixture("stores/empty.p7b")), std::vector<ByteArray>());
  for (const auto& [certificates, file] : {std::pair{three, "stores/three.p7b"}, std::pair{std::vector<ByteArray>{}, "stores/empty.p7b"}}) {
    std::vector<Der::Bytes> views(certificates.begin(), certificates.end());
    EXPECT_EQ(der_test::Written([&](Der::Writer& w) { Asn1Write::WriteCertificateBundle(w, views); }),
              der_test::ToHex(Fixture(file)))
        << file;
  }
}

TEST(CertificateBundle, RefusesWhatIsNotExactlyAnUnsignedBundle) {
  const ByteArray empty = Fixture("stores/empty.p7b");  // 30 23 06 09 <signedData> a0 16 30 14 02 01 01 31 00 30 0b ... 31 00
  ByteArray trailing = empty;
  trailing.push_back(0);
  ByteArray dataType = empty;
  dataType[12] = 0x01;  // the content type's last arc: data instead of signedData
  ByteArray signer = empty;
  signer[signer.size() - 1] = 0x02;  // signerInfos with two bytes in it
  signer.insert(signer.end(), {0x30, 0x00});
  for (std::size_t at : {1u, 14u, 16u}) signer[at] = static_cast<unsigned char>(signer[at] + 2);
  for (const ByteArray& bytes : {trailing, dataType, signer, Fixture("certs/logon.der"), Fixture("stores/modern.p12")})
    EXPECT_FALSE(Read(bytes)) << der_test::ToHex(bytes);
  // A certificates field holding something that is not a SEQUENCE.
  const ByteArray notCertificate = Hex("3027 0609 2a864886f70d010702 a01a 3018 020101 3100 300b 0609 2a864886f70d010701"
                                       " a002 0500 3100");
  EXPECT_FALSE(Read(notCertificate));
}

}  // namespace
