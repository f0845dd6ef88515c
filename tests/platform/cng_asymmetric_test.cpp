// CNG RSA against the openssl tool, and CNG ECDH against the RFC 5903 points.

#include "platform_test_util.h"
#include "support/ecdh_vectors.h"
#include "support/reference_digest.h"

using namespace zttest;

namespace {

// The fixture key's integers, big-endian.
struct RsaFixture {
  Bytes n = FromHex(ReadFixtureText("rsa2048.n.hex")), e = FromHex(ReadFixtureText("rsa2048.e.hex"));
  Bytes p = FromHex(ReadFixtureText("rsa2048.p.hex")), q = FromHex(ReadFixtureText("rsa2048.q.hex"));

  Bytes PublicBlob() const {
    const ULONG ne[] = {static_cast<ULONG>(e.size()), static_cast<ULONG>(n.size())};
    return Concat(Concat(BytesOf(BCRYPT_RSAKEY_BLOB{BCRYPT_RSAPUBLIC_MAGIC, 2048, ne[0], ne[1], 0, 0}), e), n);
  }
  Bytes PrivateBlob(const Bytes& prime2) const {
    const BCRYPT_RSAKEY_BLOB header{BCRYPT_RSAPRIVATE_MAGIC, 2048, static_cast<ULONG>(e.size()), static_cast<ULONG>(n.size()),
                                    static_cast<ULONG>(p.size()), static_cast<ULONG>(prime2.size())};
    return Concat(Concat(Concat(Concat(BytesOf(header), e), n), p), prime2);
  }
};

NTSTATUS ImportPair(BCRYPT_ALG_HANDLE provider, const wchar_t* type, Bytes blob, Key* key) {
  return BCryptImportKeyPair(provider, nullptr, type, &key->handle, blob.data(), static_cast<ULONG>(blob.size()), 0);
}

NTSTATUS Rsa(bool encrypt, BCRYPT_KEY_HANDLE key, const Bytes& input, ULONG flags, void* info, Bytes* output) {
  NTSTATUS status = STATUS_SUCCESS;
  *output = Cipher(encrypt, key, input, nullptr, flags, &status, info);
  return status;
}

Bytes Derive(BCRYPT_SECRET_HANDLE secret, BCryptBufferDesc* parameters) {
  ULONG size = 0;
  NTSTATUS result = BCryptDeriveKey(secret, BCRYPT_KDF_HASH, parameters, nullptr, 0, &size, 0);
  Bytes out(size);
  if (NT_SUCCESS(result)) result = BCryptDeriveKey(secret, BCRYPT_KDF_HASH, parameters, out.data(), size, &size, 0);
  EXPECT_EQ(result, STATUS_SUCCESS);
  return NT_SUCCESS(result) ? out : Bytes();
}

// Each RSA test starts with the fixture's public key imported.
class CngRsa : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ImportPair(rsa, BCRYPT_RSAPUBLIC_BLOB, fixture.PublicBlob(), &key), STATUS_SUCCESS); }
  RsaFixture fixture;
  Provider rsa{L"RSA"};
  Key key;
  Bytes out;
};

}  // namespace

// Padded blocks both ways: the openssl tool decrypts ours, and the private blob decrypts the
// tool's (a wrong label, or the wrong padding, does not check out); what does not fit is refused.
TEST_F(CngRsa, ExchangesPaddedBlocksWithTheOpensslToolAndChecksLengthsPaddingAndBuffers) {
  const Bytes hello = ReadFixture("hello.txt"), hellOaep = ReadFixture("hello.oaep.bin");
  Bytes label = FromText("zt");
  BCRYPT_OAEP_PADDING_INFO oaep{BCRYPT_SHA1_ALGORITHM, label.data(), 2}, noLabel{BCRYPT_SHA1_ALGORITHM, nullptr, 0};
  const std::string sha1 = "-pkeyopt rsa_padding_mode:oaep -pkeyopt rsa_oaep_md:sha1";
  const struct {
    ULONG flags;
    void* info;
    std::string options;
  } cases[] = {{BCRYPT_PAD_PKCS1, nullptr, "-pkeyopt rsa_padding_mode:pkcs1"},
               {BCRYPT_PAD_OAEP, &oaep, sha1 + " -pkeyopt rsa_mgf1_md:sha1 -pkeyopt rsa_oaep_label:7a74"},
               {BCRYPT_PAD_OAEP, &noLabel, sha1}};
  for (const auto& c : cases) {
    ASSERT_EQ(Rsa(true, key, hello, c.flags, c.info, &out), STATUS_SUCCESS);
    ASSERT_EQ(out.size(), 256u);
    EXPECT_EQ(OpensslDecrypt(out, c.options), hello) << c.options;
  }

  Key priv;
  ASSERT_EQ(ImportPair(rsa, BCRYPT_RSAPRIVATE_BLOB, fixture.PrivateBlob(fixture.q), &priv), STATUS_SUCCESS);
  ASSERT_EQ(Rsa(false, priv, ReadFixture("hello.pkcs1.bin"), BCRYPT_PAD_PKCS1, nullptr, &out), STATUS_SUCCESS);
  EXPECT_EQ(out, hello);
  ASSERT_EQ(Rsa(false, priv, hellOaep, BCRYPT_PAD_OAEP, &oaep, &out), STATUS_SUCCESS);
  EXPECT_EQ(out, hello);
  ASSERT_EQ(Rsa(false, priv, ReadFixture("message256.none.bin"), BCRYPT_PAD_NONE, nullptr, &out), STATUS_SUCCESS);
  EXPECT_EQ(out, ReadFixture("message256.bin"));
  EXPECT_EQ(Rsa(false, priv, hellOaep, BCRYPT_PAD_OAEP, &noLabel, &out), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(Rsa(false, priv, hellOaep, BCRYPT_PAD_PKCS1, nullptr, &out), STATUS_INVALID_PARAMETER);

  // The public half exports as the public blob it was built from.
  ULONG size = 0;
  ASSERT_EQ(BCryptExportKey(priv, nullptr, BCRYPT_RSAPUBLIC_BLOB, nullptr, 0, &size, 0), STATUS_SUCCESS);
  Bytes exported(size);
  ASSERT_EQ(BCryptExportKey(priv, nullptr, BCRYPT_RSAPUBLIC_BLOB, exported.data(), size, &size, 0), STATUS_SUCCESS);
  EXPECT_EQ(exported, fixture.PublicBlob());

  // Lengths, padding and buffers that do not fit. (The raw public operation on the openssl tool's
  // signatures, and its refusal of values not below the modulus, are checked through Signature.)
  // Without padding the input is an integer: a shorter input is the same number.
  const Bytes message = ReadFixture("message256.bin");
  ASSERT_EQ(Rsa(true, key, Bytes(message.begin() + 1, message.end()), BCRYPT_PAD_NONE, nullptr, &out), STATUS_SUCCESS);
  EXPECT_EQ(out, ReadFixture("message256.none.bin"));
  EXPECT_EQ(Rsa(true, key, Bytes(245, 1), BCRYPT_PAD_PKCS1, nullptr, &out), STATUS_SUCCESS);
  EXPECT_EQ(Rsa(true, key, Bytes(246, 1), BCRYPT_PAD_PKCS1, nullptr, &out), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(Rsa(true, key, Bytes(214, 1), BCRYPT_PAD_OAEP, &noLabel, &out), STATUS_SUCCESS);
  EXPECT_EQ(Rsa(true, key, Bytes(215, 1), BCRYPT_PAD_OAEP, &noLabel, &out), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(Rsa(true, key, Bytes(10, 1), BCRYPT_PAD_OAEP, nullptr, &out), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(Rsa(true, key, Bytes(10, 1), 0, nullptr, &out), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(Rsa(true, key, Bytes(10, 1), BCRYPT_PAD_PKCS1 | BCRYPT_PAD_OAEP, &noLabel, &out), STATUS_INVALID_PARAMETER);
  Bytes in(10, 1), buffer(255);
  ULONG bits = 0;
  EXPECT_EQ(BCryptEncrypt(key, in.data(), 10, nullptr, nullptr, 0, buffer.data(), 255, &size, BCRYPT_PAD_PKCS1),
            STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 256u);
  // A public key does not decrypt.
  EXPECT_EQ(Rsa(false, key, ReadFixture("hello.pkcs1.bin"), BCRYPT_PAD_PKCS1, nullptr, &out), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptGetProperty(key, BCRYPT_KEY_LENGTH, reinterpret_cast<PUCHAR>(&bits), 4, &size, 0), STATUS_SUCCESS);
  EXPECT_EQ(bits, 2048u);
}

TEST_F(CngRsa, ImportRefusesInconsistentBlobs) {
  Key other;
  const Bytes blob = fixture.PublicBlob();
  Bytes wrongMagic = blob, otherPrime = fixture.q;
  wrongMagic[0] = 0x32;  // "RSA2" in a public blob
  otherPrime.back() ^= 2;
  EXPECT_EQ(ImportPair(rsa, BCRYPT_RSAPUBLIC_BLOB, wrongMagic, &other), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(ImportPair(rsa, BCRYPT_RSAPUBLIC_BLOB, Head(blob, blob.size() - 1), &other), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(ImportPair(rsa, BCRYPT_RSAPUBLIC_BLOB, Bytes(10, 0), &other), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(ImportPair(rsa, BCRYPT_RSAPRIVATE_BLOB, blob, &other), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(ImportPair(rsa, BCRYPT_RSAPRIVATE_BLOB, fixture.PrivateBlob(otherPrime), &other), STATUS_INVALID_PARAMETER)
      << "p * q must be the modulus";
  EXPECT_EQ(ImportPair(rsa, BCRYPT_ECCPUBLIC_BLOB, blob, &other), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(other.handle, nullptr);
  EXPECT_EQ(ImportPair(rsa, BCRYPT_PUBLIC_KEY_BLOB, blob, &other), STATUS_SUCCESS);
}

TEST_F(CngRsa, GeneratedKeyPairRoundTripsThroughItsFullPrivateBlob) {
  Key pair, copy;
  EXPECT_EQ(BCryptGenerateKeyPair(rsa, &pair.handle, 1000, 0), STATUS_INVALID_PARAMETER);
  ASSERT_EQ(BCryptGenerateKeyPair(rsa, &pair.handle, 1024, 0), STATUS_SUCCESS);
  ULONG size = 0;
  EXPECT_EQ(BCryptExportKey(pair, nullptr, BCRYPT_RSAPUBLIC_BLOB, nullptr, 0, &size, 0), STATUS_INVALID_HANDLE)
      << "no key before finalization";
  ASSERT_EQ(BCryptFinalizeKeyPair(pair, 0), STATUS_SUCCESS);
  EXPECT_EQ(BCryptFinalizeKeyPair(pair, 0), STATUS_INVALID_HANDLE);
  ASSERT_EQ(BCryptExportKey(pair, nullptr, BCRYPT_RSAFULLPRIVATE_BLOB, nullptr, 0, &size, 0), STATUS_SUCCESS);
  Bytes blob(size), plain;
  ASSERT_EQ(BCryptExportKey(pair, nullptr, BCRYPT_RSAFULLPRIVATE_BLOB, blob.data(), size, &size, 0), STATUS_SUCCESS);
  ASSERT_EQ(ImportPair(rsa, BCRYPT_RSAFULLPRIVATE_BLOB, blob, &copy), STATUS_SUCCESS);
  ASSERT_EQ(Rsa(true, pair, FromText("round trip"), BCRYPT_PAD_PKCS1, nullptr, &out), STATUS_SUCCESS);
  ASSERT_EQ(Rsa(false, copy, out, BCRYPT_PAD_PKCS1, nullptr, &plain), STATUS_SUCCESS);
  EXPECT_EQ(plain, FromText("round trip"));
}

TEST(CngEcdh, Rfc5903AndGeneratedPairsAgreeAndDeriveTheHashOfTheSharedX) {
  for (const EcdhCurve& curve : kEcdhCurves) {
    SCOPED_TRACE(curve.name);
    auto v = Rfc5903(curve);
    Provider ecdh(curve.algorithm);
    Key initiator, responderPublic, responder, initiatorPublic;
    ASSERT_EQ(ImportPair(ecdh, BCRYPT_ECCPRIVATE_BLOB, EccBlob(curve.privateMagic, {v["gix"], v["giy"], v["i"]}), &initiator), STATUS_SUCCESS);
    ASSERT_EQ(ImportPair(ecdh, BCRYPT_ECCPUBLIC_BLOB, EccBlob(curve.publicMagic, {v["grx"], v["gry"]}), &responderPublic), STATUS_SUCCESS);
    ASSERT_EQ(ImportPair(ecdh, BCRYPT_ECCPRIVATE_BLOB, EccBlob(curve.privateMagic, {v["grx"], v["gry"], v["r"]}), &responder), STATUS_SUCCESS);
    ASSERT_EQ(ImportPair(ecdh, BCRYPT_ECCPUBLIC_BLOB, EccBlob(curve.publicMagic, {v["gix"], v["giy"]}), &initiatorPublic), STATUS_SUCCESS);
    Secret ir, ri;
    ASSERT_EQ(BCryptSecretAgreement(initiator, responderPublic, &ir.handle, 0), STATUS_SUCCESS);
    ASSERT_EQ(BCryptSecretAgreement(responder, initiatorPublic, &ri.handle, 0), STATUS_SUCCESS);

    // No parameter list: SHA-1 of the shared x-coordinate (big-endian, field size).
    const Bytes z = FromHex(v["girx"]);
    EXPECT_EQ(Derive(ir, nullptr), ReferenceDigest("SHA1", z));
    EXPECT_EQ(Derive(ri, nullptr), ReferenceDigest("SHA1", z));

    // SHA-256 with a counter before and other information after the secret, as the
    // SP 800-56A derivation drives it.
    wchar_t sha256[] = BCRYPT_SHA256_ALGORITHM;
    Bytes counter = FromHex("00000001"), other = FromText("other info");
    BCryptBuffer buffers[] = {{sizeof(sha256), KDF_HASH_ALGORITHM, sha256},
                              {4, KDF_SECRET_PREPEND, counter.data()},
                              {static_cast<ULONG>(other.size()), KDF_SECRET_APPEND, other.data()}};
    BCryptBufferDesc list{BCRYPTBUFFER_VERSION, 3, buffers};
    EXPECT_EQ(Derive(ir, &list), ReferenceDigest("SHA256", Concat(Concat(counter, z), other)));

    // Generated pairs, finalized before they agree.
    Key a, b, importedA, importedB;
    EXPECT_EQ(BCryptGenerateKeyPair(ecdh, &a.handle, curve.bits + 1, 0), STATUS_INVALID_PARAMETER);
    ASSERT_EQ(BCryptGenerateKeyPair(ecdh, &a.handle, curve.bits, 0), STATUS_SUCCESS);
    ASSERT_EQ(BCryptGenerateKeyPair(ecdh, &b.handle, curve.bits, 0), STATUS_SUCCESS);
    Secret early, ab, ba;
    EXPECT_EQ(BCryptSecretAgreement(a, b, &early.handle, 0), STATUS_INVALID_HANDLE) << "not finalized yet";
    ASSERT_EQ(BCryptFinalizeKeyPair(a, 0), STATUS_SUCCESS);
    ASSERT_EQ(BCryptFinalizeKeyPair(b, 0), STATUS_SUCCESS);

    // Each side's public blob, re-imported, agrees with the other's private key.
    ULONG size = 0;
    ASSERT_EQ(BCryptExportKey(a, nullptr, BCRYPT_ECCPUBLIC_BLOB, nullptr, 0, &size, 0), STATUS_SUCCESS);
    EXPECT_EQ(size, 8 + 2 * curve.coordinate);
    Bytes publicA(size), privateB(8 + 3 * curve.coordinate);
    ASSERT_EQ(BCryptExportKey(a, nullptr, BCRYPT_ECCPUBLIC_BLOB, publicA.data(), size, &size, 0), STATUS_SUCCESS);
    ASSERT_EQ(BCryptExportKey(b, nullptr, BCRYPT_ECCPRIVATE_BLOB, privateB.data(), static_cast<ULONG>(privateB.size()), &size, 0),
              STATUS_SUCCESS);
    ASSERT_EQ(ImportPair(ecdh, BCRYPT_ECCPUBLIC_BLOB, publicA, &importedA), STATUS_SUCCESS);
    ASSERT_EQ(ImportPair(ecdh, BCRYPT_ECCPRIVATE_BLOB, privateB, &importedB), STATUS_SUCCESS);
    ASSERT_EQ(BCryptSecretAgreement(a, b, &ab.handle, 0), STATUS_SUCCESS);
    ASSERT_EQ(BCryptSecretAgreement(importedB, importedA, &ba.handle, 0), STATUS_SUCCESS);
    EXPECT_EQ(Derive(ab, nullptr), Derive(ba, nullptr));
  }
}

TEST(CngEcdh, ImportAgreementAndDerivationRefuseWhatDoesNotFit) {
  const EcdhCurve& curve = kEcdhCurves[0];
  auto v = Rfc5903(curve);
  Provider ecdh(curve.algorithm);
  Key key;
  const Bytes good = EccBlob(curve.publicMagic, {v["gix"], v["giy"]});
  Bytes offCurve = good;
  offCurve.back() ^= 1;
  EXPECT_EQ(ImportPair(ecdh, BCRYPT_ECCPUBLIC_BLOB, offCurve, &key), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(ImportPair(ecdh, BCRYPT_ECCPRIVATE_BLOB, EccBlob(curve.privateMagic, {v["grx"], v["gry"], v["i"]}), &key),
            STATUS_INVALID_PARAMETER)
      << "the public point of a private blob must belong to its private value";
  EXPECT_EQ(ImportPair(ecdh, BCRYPT_ECCPUBLIC_BLOB, EccBlob(curve.privateMagic, {v["gix"], v["giy"]}), &key), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(ImportPair(ecdh, BCRYPT_ECCPUBLIC_BLOB, EccBlob(BCRYPT_ECDH_PUBLIC_P384_MAGIC, {v["gix"], v["giy"]}), &key),
            STATUS_INVALID_PARAMETER);
  EXPECT_EQ(ImportPair(ecdh, BCRYPT_ECCPUBLIC_BLOB, Concat(good, {0}), &key), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(ImportPair(ecdh, BCRYPT_ECCPUBLIC_BLOB, Bytes(4, 0), &key), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(ImportPair(ecdh, BCRYPT_RSAPUBLIC_BLOB, good, &key), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(key.handle, nullptr);
  ASSERT_EQ(ImportPair(ecdh, BCRYPT_PUBLIC_KEY_BLOB, good, &key), STATUS_SUCCESS);
  // A public key exports as it came in, and has no private blob.
  ULONG size = 0;
  Bytes exported(72), data(16);
  ASSERT_EQ(BCryptExportKey(key, nullptr, BCRYPT_ECCPUBLIC_BLOB, exported.data(), 72, &size, 0), STATUS_SUCCESS);
  EXPECT_EQ(exported, good);
  EXPECT_EQ(BCryptExportKey(key, nullptr, BCRYPT_ECCPRIVATE_BLOB, nullptr, 0, &size, 0), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptEncrypt(key, data.data(), 16, nullptr, nullptr, 0, nullptr, 0, &size, 0), STATUS_NOT_SUPPORTED);

  // Agreement needs keys of one curve, the first with its private half.
  Provider p384(BCRYPT_ECDH_P384_ALGORITHM);
  Key a, other;
  ASSERT_EQ(BCryptGenerateKeyPair(ecdh, &a.handle, 256, 0), STATUS_SUCCESS);
  ASSERT_EQ(BCryptFinalizeKeyPair(a, 0), STATUS_SUCCESS);
  ASSERT_EQ(BCryptGenerateKeyPair(p384, &other.handle, 384, 0), STATUS_SUCCESS);
  ASSERT_EQ(BCryptFinalizeKeyPair(other, 0), STATUS_SUCCESS);
  Secret secret;
  EXPECT_EQ(BCryptSecretAgreement(a, other, &secret.handle, 0), STATUS_INVALID_PARAMETER) << "curves differ";
  EXPECT_EQ(BCryptSecretAgreement(key, a, &secret.handle, 0), STATUS_INVALID_PARAMETER) << "no private half";
  EXPECT_EQ(BCryptSecretAgreement(a, key, &secret.handle, 1), STATUS_INVALID_PARAMETER);
  ASSERT_EQ(BCryptSecretAgreement(a, key, &secret.handle, 0), STATUS_SUCCESS);

  Bytes out(64);
  auto derive = [&](BCryptBufferDesc* list) { return BCryptDeriveKey(secret, BCRYPT_KDF_HASH, list, nullptr, 0, &size, 0); };
  EXPECT_EQ(BCryptDeriveKey(secret, L"TLS_PRF", nullptr, nullptr, 0, &size, 0), STATUS_NOT_SUPPORTED);
  EXPECT_EQ(BCryptDeriveKey(secret, BCRYPT_KDF_HASH, nullptr, out.data(), 19, &size, 0), STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 20u);
  EXPECT_EQ(BCryptDeriveKey(secret, BCRYPT_KDF_HASH, nullptr, out.data(), 64, nullptr, 0), STATUS_INVALID_PARAMETER);
  wchar_t sha224[] = L"SHA224", sha384[] = BCRYPT_SHA384_ALGORITHM;
  BCryptBuffer unknownHash{sizeof(sha224), KDF_HASH_ALGORITHM, sha224}, hmacKey{4, KDF_HMAC_KEY, out.data()};
  BCryptBufferDesc list{BCRYPTBUFFER_VERSION, 1, &unknownHash}, foreign{BCRYPTBUFFER_VERSION, 1, &hmacKey};
  EXPECT_EQ(derive(&list), STATUS_NOT_SUPPORTED);
  EXPECT_EQ(derive(&foreign), STATUS_INVALID_PARAMETER);
  // The name's byte length counts wide characters: one character short loses the terminator.
  BCryptBuffer cut{sizeof(sha384) - sizeof(wchar_t), KDF_HASH_ALGORITHM, sha384};
  list.pBuffers = &cut;
  EXPECT_EQ(derive(&list), STATUS_INVALID_PARAMETER);
  cut.cbBuffer = sizeof(sha384);
  EXPECT_EQ(derive(&list), STATUS_SUCCESS);
  EXPECT_EQ(size, 48u);
  list.ulVersion = 1;
  EXPECT_EQ(derive(&list), STATUS_INVALID_PARAMETER);

  BCRYPT_SECRET_HANDLE stale = secret.handle;
  ASSERT_EQ(BCryptDestroySecret(stale), STATUS_SUCCESS);
  secret.handle = nullptr;
  EXPECT_EQ(BCryptDeriveKey(stale, BCRYPT_KDF_HASH, nullptr, nullptr, 0, &size, 0), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptDestroySecret(stale), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptDestroySecret(a.handle), STATUS_INVALID_HANDLE) << "a key is no secret";
}

