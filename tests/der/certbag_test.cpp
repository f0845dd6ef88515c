// The PKCS #12 certificate bag's reader against bags OpenSSL's PKCS #12 functions make.
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>

#include "codec/crypto.asn1.pkcs7.h"
#include "support/command.h"
#include "support/tool_runner.h"

using namespace ZT::Framework;

namespace {

TEST(CertificateBag, GivesTheCertificateAsStoredAndRefusesOtherBags) {
  BIO* in = BIO_new_file(zttest::FixturePath("certs/logon.pem").c_str(), "r");
  X509* certificate = PEM_read_bio_X509(in, nullptr, nullptr, nullptr);
  BIO_free(in);
  ASSERT_NE(certificate, nullptr);
  STACK_OF(PKCS12_SAFEBAG)* bags = nullptr;
  PKCS12_SAFEBAG* bag = PKCS12_add_cert(&bags, certificate);
  PKCS12_add_localkeyid(bag, reinterpret_cast<unsigned char*>(const_cast<char*>("id")), 2);
  unsigned char* encoded = nullptr;
  const int size = i2d_PKCS12_SAFEBAG(bag, &encoded);
  Der::Bytes read;
  EXPECT_TRUE(Asn1Read::ReadCertBagCertificate({encoded, static_cast<std::size_t>(size)}, &read));
  const auto stored = zttest::ReadFixtureFile("certs/logon.der");
  EXPECT_EQ(ByteArray(read.begin(), read.end()), ByteArray(stored.begin(), stored.end()));
  // The same bag cut short, and a bag that is not a certificate's.
  EXPECT_FALSE(Asn1Read::ReadCertBagCertificate({encoded, static_cast<std::size_t>(size) - 1}, &read));
  encoded[16] = 0x01;  // bagId keyBag (1.2.840.113549.1.12.10.1.1) instead of certBag (...1.3)
  EXPECT_FALSE(Asn1Read::ReadCertBagCertificate({encoded, static_cast<std::size_t>(size)}, &read));
  OPENSSL_free(encoded);
  sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
  X509_free(certificate);
}

}  // namespace
