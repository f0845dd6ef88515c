// The blob as platform/openssl/dpapi.md lays it out, read and written here with OpenSSL's own
// HKDF and AES-256-GCM: what the service writes opens here, and what is sealed here opens in the
// service, so the documented format and key schedule are the ones in use.
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/rand.h>

#include <cstring>
#include <string>

#include "dataprotection/dpapi_test_util.h"

namespace {

using namespace dpapitest;

ByteArray BlobKey(const ByteArray& secret, const ByteArray& entropy, const unsigned char* salt, unsigned char scope) {
  ByteArray material = secret;
  material.insert(material.end(), entropy.begin(), entropy.end());
  std::string info = std::string("ztcrypto data protection v1 ") + (scope == kMachineScope ? "machine" : "user") +
                     " AES-256-GCM key";
  char digest[] = "SHA256";
  const OSSL_PARAM parameters[] = {
      OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
      OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_KEY, material.data(), material.size()),
      OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SALT, const_cast<unsigned char*>(salt), 32),
      OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_INFO, info.data(), info.size()),
      OSSL_PARAM_construct_end(),
  };
  EVP_KDF* hkdf = EVP_KDF_fetch(nullptr, "HKDF", nullptr);
  EVP_KDF_CTX* context = EVP_KDF_CTX_new(hkdf);
  ByteArray key(32);
  EXPECT_EQ(EVP_KDF_derive(context, key.data(), key.size(), parameters), 1);
  EVP_KDF_CTX_free(context);
  EVP_KDF_free(hkdf);
  return key;
}

// Runs AES-256-GCM over `in` with the blob's header as additional data; `tag` is written when
// sealing and checked when opening (false when it does not match).
bool Gcm(bool seal, const ByteArray& key, const unsigned char* header, const ByteArray& in, ByteArray* out,
         unsigned char* tag) {
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  out->resize(in.size());
  int size = 0;
  bool ok = EVP_CipherInit_ex(context, EVP_aes_256_gcm(), nullptr, key.data(), header + 38, seal) == 1 &&
            EVP_CipherUpdate(context, nullptr, &size, header, static_cast<int>(kHeaderSize)) == 1 &&
            EVP_CipherUpdate(context, out->data(), &size, in.data(), static_cast<int>(in.size())) == 1;
  if (!seal) ok = ok && EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_SET_TAG, 16, tag) == 1;
  ok = ok && EVP_CipherFinal_ex(context, nullptr, &size) == 1;
  if (seal) ok = ok && EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_GET_TAG, 16, tag) == 1;
  EVP_CIPHER_CTX_free(context);
  return ok;
}

// The sealed part of a blob: the description's length (4 bytes, little-endian), the description,
// the data.
ByteArray Inner(const std::string& description, const ByteArray& data, std::uint32_t length) {
  ByteArray inner{static_cast<unsigned char>(length), static_cast<unsigned char>(length >> 8),
                  static_cast<unsigned char>(length >> 16), static_cast<unsigned char>(length >> 24)};
  inner.insert(inner.end(), description.begin(), description.end());
  inner.insert(inner.end(), data.begin(), data.end());
  return inner;
}
ByteArray Inner(const std::string& description, const ByteArray& data) {
  return Inner(description, data, static_cast<std::uint32_t>(description.size()));
}

ByteArray OpenHere(const ByteArray& blob, const ByteArray& secret, const ByteArray& entropy) {
  EXPECT_EQ(ByteArray(blob.begin(), blob.begin() + 5), Hex("5a54445001"));  // "ZTDP", version 1
  const ByteArray key = BlobKey(secret, entropy, blob.data() + 6, blob[kScopeOffset]);
  const ByteArray sealed(blob.begin() + kHeaderSize, blob.end() - kTagSize);
  ByteArray tag(blob.end() - kTagSize, blob.end()), inner;
  EXPECT_TRUE(Gcm(false, key, blob.data(), sealed, &inner, tag.data()));
  return inner;
}

ByteArray SealHere(unsigned char scope, const ByteArray& secret, const ByteArray& entropy, const ByteArray& inner,
                   unsigned char version = 1) {
  ByteArray blob = Hex("5a544450");
  blob.push_back(version);
  blob.push_back(scope);
  blob.resize(kHeaderSize);
  RAND_bytes(blob.data() + 6, 44);
  ByteArray sealed, tag(kTagSize);
  EXPECT_TRUE(Gcm(true, BlobKey(secret, entropy, blob.data() + 6, scope), blob.data(), inner, &sealed, tag.data()));
  blob.insert(blob.end(), sealed.begin(), sealed.end());
  blob.insert(blob.end(), tag.begin(), tag.end());
  return blob;
}

class DataProtectionFormat : public ::testing::Test {
 protected:
  SecretDirectories secrets;
  const ByteArray message = Text("layout check");
  const ByteArray entropy = Hex("00ff10");
};

// What the service writes opens here, and what is sealed here opens in the service, unless it
// breaks the layout or the scopes.
TEST_F(DataProtectionFormat, BlobsOpenBothWaysBetweenTheServiceAndHereAndBrokenOnesDoNot) {
  secrets.CreateMachineSecret();
  const Outcome user = Protect(message, CRYPTPROTECT_UI_FORBIDDEN, &entropy, L"d\u00e9sc");
  const Outcome machine = Protect(message, CRYPTPROTECT_LOCAL_MACHINE);
  ASSERT_TRUE(user.ok && machine.ok);
  const ByteArray userSecret = FileBytes(secrets.UserSecret()), machineSecret = FileBytes(secrets.MachineSecret());
  EXPECT_EQ(user.bytes.size(), kHeaderSize + 4 + 5 + message.size() + kTagSize);
  EXPECT_EQ(user.bytes[kScopeOffset], kUserScope);
  EXPECT_EQ(OpenHere(user.bytes, userSecret, entropy), Inner("d\xc3\xa9sc", message));
  EXPECT_EQ(machine.bytes[kScopeOffset], kMachineScope);
  EXPECT_EQ(OpenHere(machine.bytes, machineSecret, {}), Inner("", message));

  Outcome opened = Unprotect(SealHere(kUserScope, userSecret, entropy, Inner("note", message)), &entropy);
  EXPECT_EQ(opened.bytes, message);
  EXPECT_EQ(opened.description, L"note");
  opened = Unprotect(SealHere(kMachineScope, machineSecret, {}, Inner("", message)));
  EXPECT_EQ(opened.bytes, message);
  // A description that takes everything is allowed: no data.
  opened = Unprotect(SealHere(kUserScope, userSecret, {}, Inner("all", {})));
  EXPECT_TRUE(opened.ok);
  EXPECT_TRUE(opened.bytes.empty());

  // Blobs sealed with the secret or the info of the other scope do not open, nor do authentic
  // blobs that break the layout.
  const ByteArray refused[] = {
      SealHere(kUserScope, machineSecret, {}, Inner("", message)),
      SealHere(kMachineScope, userSecret, {}, Inner("", message)),
      SealHere(kUserScope, userSecret, {}, Inner("abc", message, 3 + static_cast<std::uint32_t>(message.size()) + 1)),
      SealHere(kUserScope, userSecret, {}, Inner("abc", message, 0xFFFFFFFFu)),
      SealHere(kUserScope, userSecret, {}, Inner("\xc0\x80", message)),  // an overlong form is no UTF-8
      SealHere(kUserScope, userSecret, {}, Inner("", message), 2),       // a version this one does not read
      SealHere(3, userSecret, {}, Inner("", message)),                   // nor a scope
  };
  for (std::size_t row = 0; row < std::size(refused); ++row)
    EXPECT_EQ(Unprotect(refused[row]).code, ERROR_INVALID_DATA) << "row " << row;
}

}  // namespace
