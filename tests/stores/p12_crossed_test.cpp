// The PKCS #12 store pairs keys with certificates by key, not by their place in the file: a file
// that OpenSSL's PKCS #12 functions write with the keys in the other order and without local key
// identifiers, which the openssl tool cannot be asked to write.
#include <openssl/pem.h>
#include <openssl/pkcs12.h>

#include <algorithm>

#include "stores_test_util.h"

namespace {

using namespace storetest;

// A PFX with two certificates and their keys, the keys in the other order and without local key
// identifiers, made with OpenSSL's PKCS #12 functions.
ByteArray TwoKeysCrossed(const std::string& password) {
  const auto readCert = [](const std::string& name) {
    BIO* in = BIO_new_file(zttest::CertPath(name + ".pem").c_str(), "r");
    X509* cert = PEM_read_bio_X509(in, nullptr, nullptr, nullptr);
    BIO_free(in);
    return cert;
  };
  const auto readKey = [](const std::string& name) {
    BIO* in = BIO_new_file(zttest::CertPath(name + ".key").c_str(), "r");
    EVP_PKEY* key = PEM_read_bio_PrivateKey(in, nullptr, nullptr, nullptr);
    BIO_free(in);
    return key;
  };
  X509* logon = readCert("logon");
  X509* root = readCert("root");
  EVP_PKEY* logonKey = readKey("logon");
  EVP_PKEY* rootKey = readKey("root");
  STACK_OF(PKCS12_SAFEBAG)* certs = nullptr;
  STACK_OF(PKCS12_SAFEBAG)* keys = nullptr;
  STACK_OF(PKCS7)* safes = nullptr;
  PKCS12_add_cert(&certs, logon);
  PKCS12_add_cert(&certs, root);
  PKCS12_add_key(&keys, rootKey, 0, 2048, NID_aes_256_cbc, password.c_str());
  PKCS12_add_key(&keys, logonKey, 0, 2048, NID_aes_256_cbc, password.c_str());
  PKCS12_add_safe(&safes, keys, -1, 0, nullptr);
  PKCS12_add_safe(&safes, certs, NID_aes_256_cbc, 2048, password.c_str());
  PKCS12* p12 = PKCS12_add_safes(safes, 0);
  PKCS12_set_mac(p12, password.c_str(), -1, nullptr, 0, 2048, EVP_sha256());
  unsigned char* der = nullptr;
  const int size = i2d_PKCS12(p12, &der);
  const ByteArray pfx(der, der + std::max(size, 0));
  OPENSSL_free(der);
  PKCS12_free(p12);
  sk_PKCS7_pop_free(safes, PKCS7_free);
  sk_PKCS12_SAFEBAG_pop_free(certs, PKCS12_SAFEBAG_free);
  sk_PKCS12_SAFEBAG_pop_free(keys, PKCS12_SAFEBAG_free);
  EVP_PKEY_free(logonKey);
  EVP_PKEY_free(rootKey);
  X509_free(logon);
  X509_free(root);
  return pfx;
}

TEST(P12Store, PairsKeysWithCertificatesByKeyNotByPlace) {
  const P12Store store = LoadPfx(TwoKeysCrossed("crossed"), L"crossed");
  const std::vector<ICertContext*> listed = Listed(*store);
  ASSERT_EQ(ListedEncodings(*store), Encodings({"root", "logon"}));
  ExpectPairedKey(*listed[0], "root");
  ExpectPairedKey(*listed[1], "logon");
}

}  // namespace
