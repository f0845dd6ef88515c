// RSA key objects and import against the openssl tool's keys, and the platform's key structures.
#include <string>
#include <vector>

#include "cng/crypto.cng.rsakeys.h"
#include "cng/crypto.cng.util.keys.h"
#include "codec/crypto.der.writer.h"
#include "rsa_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace rsatest;
using zttest::LogCapture;

// The 2048-bit fixture key's numbers.
struct Numbers : KeyNumbers {
  Numbers()
      : KeyNumbers{HexFixture("rsa2048.n.hex"),  HexFixture("rsa2048.e.hex"),  HexFixture("rsa2048.d.hex"),
                   HexFixture("rsa2048.p.hex"),  HexFixture("rsa2048.q.hex"),  HexFixture("rsa2048.dp.hex"),
                   HexFixture("rsa2048.dq.hex"), HexFixture("rsa2048.qinv.hex")} {}
};

// The exception of an import, with its inner exception's message.
struct Refusal {
  CryptoExceptionId id;
  std::wstring outer, inner;
};
Refusal Refuse(const WString& format, const ByteArray& bytes, const WString& algorithm = L"RSA") {
  const auto e = Thrown([&] { delete IKey::Create(Algorithm(algorithm).get(), format, bytes); });
  if (!e) return {};
  const IException* inner = e->getInnerException();
  return {static_cast<CryptoExceptionId>(e->getID()), std::wstring(e->getMessage()),
          inner ? std::wstring(inner->getMessage()) : std::wstring()};
}

// The little-endian bytes of a big-endian number, zero-filled to `size`.
ByteArray LittleEndian(ByteArray bigEndian, std::size_t size) {
  bigEndian = Magnitude(bigEndian);
  ByteArray out(bigEndian.rbegin(), bigEndian.rend());
  out.resize(size, 0);
  return out;
}

// A PRIVATEKEYBLOB built from the numbers as the published layout has it.
ByteArray PrivateKeyBlob(const Numbers& k, unsigned char algClass = 0xa4) {
  ByteArray blob = Hex("07020000");
  blob.insert(blob.end(), {0x00, algClass, 0x00, 0x00});  // aiKeyAlg, little-endian
  blob.insert(blob.end(), {'R', 'S', 'A', '2', 0x00, 0x08, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00});  // 2048, 65537
  for (const auto& [number, size] :
       {std::pair{&k.n, 256}, {&k.p, 128}, {&k.q, 128}, {&k.dp, 128}, {&k.dq, 128}, {&k.qinv, 128}, {&k.d, 256}}) {
    const ByteArray le = LittleEndian(*number, size);
    blob.insert(blob.end(), le.begin(), le.end());
  }
  return blob;
}

// A SubjectPublicKeyInfo of `algorithmOid` with the given parameter element (none when empty).
ByteArray SubjectPublicKeyInfo(const char* algorithmOid, const ByteArray& parameters, const ByteArray& key,
                               unsigned unusedBits = 0) {
  Der::Writer w;
  w.Nest(Der::kSequence, [&] {
    w.Nest(Der::kSequence, [&] {
      w.AddOid(algorithmOid);
      if (!parameters.empty()) w.AddRaw(parameters);
    });
    w.AddBitString(key, unusedBits);
  });
  ByteArray der;
  EXPECT_TRUE(w.Finish(&der));
  return der;
}

TEST(RsaPublicKey, ImportsTheToolsKeyOrMakesItFromItsNumbersAndGivesItBack) {
  const Numbers k;
  const auto algorithm = Algorithm(L"RSA");
  const std::unique_ptr<IKey> key(IKey::Create(algorithm.get(), L"X509", Fixture("rsa2048.pub.der")));
  const auto* rsa = dynamic_cast<CCNGRSAPublicKey*>(key.get());
  ASSERT_NE(rsa, nullptr);
  EXPECT_EQ(rsa->GetModulus(), Magnitude(k.n));
  EXPECT_EQ(rsa->GetPublicExponent(), Hex("010001"));
  EXPECT_EQ(rsa->GetFormat(), L"X509");
  EXPECT_EQ(rsa->GetEncoded(), Fixture("rsa2048.pub.der"));
  EXPECT_NE(rsa->GetAlgorithm(), algorithm.get());
  EXPECT_EQ(rsa->GetAlgorithm()->GetFriendlyName(), L"RSA");

  const auto small = ImportKey(L"X509", Fixture("rsa1024e3.pub.der"));
  EXPECT_EQ(dynamic_cast<IRSAPublicKey&>(*small).GetPublicExponent(), Hex("03"));
  EXPECT_EQ(small->GetEncoded(), Fixture("rsa1024e3.pub.der"));

  // Made from its numbers (leading zero bytes are no part of a number), it encodes as the tool does.
  ByteArray paddedModulus = Magnitude(k.n);
  paddedModulus.insert(paddedModulus.begin(), 2, 0x00);
  const std::unique_ptr<IRSAPublicKey> fromNumbers(IRSAPublicKey::Create(paddedModulus, Hex("00010001")));
  EXPECT_EQ(fromNumbers->GetModulus(), Magnitude(k.n));
  EXPECT_EQ(fromNumbers->GetPublicExponent(), Hex("010001"));
  EXPECT_EQ(fromNumbers->GetEncoded(), Fixture("rsa2048.pub.der"));
  EXPECT_EQ(fromNumbers->GetAlgorithm()->GetOID(), L"1.2.840.113549.1.1.1");

  const std::unique_ptr<IKey> clone(fromNumbers->Clone());
  EXPECT_NE(clone->GetAlgorithm(), fromNumbers->GetAlgorithm());
  EXPECT_EQ(clone->GetEncoded(), fromNumbers->GetEncoded());

  for (const auto& [modulus, exponent, name] :
       {std::tuple{ByteArray{}, Hex("03"), L"baModulus"}, std::tuple{Hex("0000"), Hex("03"), L"baModulus"},
        std::tuple{Magnitude(k.n), Hex("00"), L"baPublicExponent"}}) {
    // Init-captures: not every compiler lets a lambda capture structured bindings themselves.
    ExpectFailure(Thrown([&n = modulus, &x = exponent] { delete IRSAPublicKey::Create(n, x); }), CRYPTO_BAD_PARAM,
                  WString(name) + L" should not be empty");
  }
}

TEST(RsaPublicKey, RefusesWhatIsNotAnRsaSubjectPublicKeyInfo) {
  const ByteArray spki = Fixture("rsa2048.pub.der");
  const ByteArray rsaPublicKey = Fixture("rsa2048.rsapub.der");
  ByteArray trailing = spki;  // truncations are the DER reader's tests
  trailing.push_back(0x00);

  struct Case {
    const char* what;
    ByteArray bytes;
    WString algorithm;
    CryptoExceptionId id;
    const wchar_t* inner;
  };
  const Case cases[] = {
      {"EC key", Fixture("ec256.pub.der"), L"RSA", CRYPTO_NOT_SUPPORTED, L"Only RSA keys are supported"},
      {"RSA-PSS key", SubjectPublicKeyInfo("1.2.840.113549.1.1.10", {}, rsaPublicKey), L"RSA", CRYPTO_NOT_SUPPORTED,
       L"Only RSA keys are supported"},
      {"algorithm not RSA", spki, L"AES", CRYPTO_NOT_SUPPORTED, L"Only RSA keys are supported"},
      {"trailing byte", trailing, L"RSA", CRYPTO_BAD_PARAM, L"Error decoding the blob (0x80093103)"},
      {"PKCS #8", Fixture("rsa2048.pkcs8.der"), L"RSA", CRYPTO_BAD_PARAM, L"Error decoding the blob (0x80093103)"},
      {"parameters not NULL", SubjectPublicKeyInfo(szOID_RSA_RSA, Hex("0403010203"), rsaPublicKey), L"RSA",
       CRYPTO_BAD_PARAM, L"Invalid rsaEncryption parameters"},
      {"key bits not whole bytes", SubjectPublicKeyInfo(szOID_RSA_RSA, Hex("0500"), rsaPublicKey, 1), L"RSA",
       CRYPTO_BAD_PARAM, L"The public key is not a whole number of bytes"},
      {"negative modulus", SubjectPublicKeyInfo(szOID_RSA_RSA, Hex("0500"), Hex("300602018102010f")), L"RSA",
       CRYPTO_BAD_PARAM, L"Error decoding the blob (0x80093103)"},
      {"zero exponent", SubjectPublicKeyInfo(szOID_RSA_RSA, Hex("0500"), Hex("300602017f020100")), L"RSA",
       CRYPTO_BAD_PARAM, L"Error decoding the blob (0x80093103)"},
  };
  for (const Case& c : cases) {
    const Refusal r = Refuse(L"X509", c.bytes, c.algorithm);
    EXPECT_EQ(r.id, c.id) << c.what;
    EXPECT_EQ(r.outer, L"new CCNGRSAPublicKey() failed") << c.what;
    EXPECT_EQ(r.inner, c.inner) << c.what;
  }
  // Parameters left out, as some encoders do, read as NULL.
  const auto key = ImportKey(L"X509", SubjectPublicKeyInfo(szOID_RSA_RSA, {}, rsaPublicKey));
  EXPECT_EQ(key->GetEncoded(), spki);
}

TEST(RsaPublicKey, TracesItsAlgorithmAndTheWrappedRefusal) {
  const auto key = ImportKey(L"X509", Fixture("rsa2048.pub.der"));
  {
    LogCapture capture(NQLOG_DATA);
    const IAlgorithm* algorithm = key->GetAlgorithm();
    EXPECT_EQ(capture.At(NQLOG_DATA), std::vector<std::wstring>{L"CCNGRSAPublicKey::GetAlgorithm : m_pAlgorithm=" +
                                                                zttest::AddressText(algorithm)});
  }
  LogCapture capture(NQLOG_ERROR);
  Refuse(L"X509", Fixture("ec256.pub.der"));
  EXPECT_EQ(capture.At(NQLOG_ERROR), (std::vector<std::wstring>{
                                         L"CCNGRSAPublicKey::Import : Unsupported key algorithm: 1.2.840.10045.2.1",
                                         L"IKey::Create : new CCNGRSAPublicKey() failed",
                                     }));
}

// The same key, whichever format it came in: the tool's PKCS #8 and PRIVATEKEYBLOB, and blobs
// built here for both key-exchange and signature algorithm classes.
TEST(RsaPrivateKey, ImportsEachFormatOfTheToolsKeyAndGivesItBackAsPkcs8) {
  const Numbers k;
  for (const auto& [format, bytes] : {std::pair<WString, ByteArray>{L"PKCS8", Fixture("rsa2048.pkcs8.der")},
                                      {L"MSPrivateKeyBlob", Fixture("rsa2048.blob")},
                                      {L"MSPrivateKeyBlob", PrivateKeyBlob(k)},
                                      {L"MSPrivateKeyBlob", PrivateKeyBlob(k, 0x24)}}) {
    const auto key = ImportKey(format, bytes);
    ExpectPrivateNumbers(dynamic_cast<IRSAPrivateCRTKey&>(*key), k);
    EXPECT_EQ(key->GetFormat(), L"PKCS8");
    EXPECT_EQ(key->GetEncoded(), Fixture("rsa2048.pkcs8.der"));
  }
}

TEST(RsaPrivateKey, CreateFromNumbersAndClone) {
  const Numbers k;
  std::unique_ptr<IRSAPrivateCRTKey> key(IRSAPrivateCRTKey::Create(k.n, k.e, k.d, k.p, k.q, k.dp, k.dq, k.qinv));
  EXPECT_EQ(key->GetEncoded(), Fixture("rsa2048.pkcs8.der"));
  const std::unique_ptr<IKey> clone(key->Clone());
  key.reset();
  ExpectPrivateNumbers(dynamic_cast<IRSAPrivateCRTKey&>(*clone), k);
  ExpectFailure(Thrown([&] { delete IRSAPrivateCRTKey::Create(k.n, k.e, k.d, k.p, Hex("00"), k.dp, k.dq, k.qinv); }),
                CRYPTO_BAD_PARAM, L"baPrimeQ should not be empty");
}

TEST(RsaPrivateKey, RefusesMalformedPkcs8AndPrivateKeyBlobs) {
  const ByteArray pkcs8 = Fixture("rsa2048.pkcs8.der");
  const ByteArray good = PrivateKeyBlob(Numbers());
  const auto with = [](ByteArray b, std::size_t at, unsigned char value) {
    b[at] = value;
    return b;
  };
  const wchar_t* const blob = L"MSPrivateKeyBlob";
  const wchar_t* const badBlob = L"Invalid RSA private key blob";
  const wchar_t* const badDer = L"Error decoding the blob (0x80093103)";
  const struct {
    const char* what;
    const wchar_t* format;
    ByteArray bytes;
    const wchar_t* inner;
  } cases[] = {
      {"trailing byte", L"PKCS8", [&] { ByteArray b = pkcs8; b.push_back(0); return b; }(), badDer},
      {"version 1", L"PKCS8", with(pkcs8, 6, 0x01), badDer},  // 30 82 LL LL 02 01 00: the version
      {"SubjectPublicKeyInfo", L"PKCS8", Fixture("rsa2048.pub.der"), badDer},
      {"PUBLICKEYBLOB type", blob, with(good, 0, 0x06), badBlob},
      {"blob version 1", blob, with(good, 1, 0x01), badBlob},
      {"reserved set", blob, with(good, 2, 0x01), badBlob},
      {"CALG_AES", blob, with(good, 5, 0x66), badBlob},
      {"magic RSA1", blob, with(good, 11, '1'), badBlob},
      {"bit length 2056", blob, with(good, 12, 0x08), badBlob},  // each field a byte longer than the blob holds
      {"bit length 0", blob, with(with(good, 12, 0), 13, 0), badBlob},
      {"exponent zero", blob, with(with(good, 16, 0), 18, 0), badBlob},
      {"one byte short", blob, ByteArray(good.begin(), good.end() - 1), badBlob},
      {"one byte more", blob, [&] { ByteArray b = good; b.push_back(0); return b; }(), badBlob},
      {"header only", blob, ByteArray(good.begin(), good.begin() + 20), badBlob},
      {"empty", blob, ByteArray(), badBlob},
  };
  for (const auto& c : cases) {
    const Refusal r = Refuse(c.format, c.bytes);
    EXPECT_EQ(r.id, CRYPTO_BAD_PARAM) << c.what;
    EXPECT_EQ(r.outer, L"new CCNGRSAPrivateCRTKey() failed") << c.what;
    EXPECT_EQ(r.inner, c.inner) << c.what;
  }
  const Refusal ec = Refuse(L"PKCS8", Fixture("ec256.pkcs8.der"));
  EXPECT_EQ(ec.id, CRYPTO_NOT_SUPPORTED);
  EXPECT_EQ(ec.inner, L"Only RSA keys are supported");
}

TEST(RsaPrivateKey, NoTraceLineCarriesItsNumbers) {
  const Numbers k;
  LogCapture capture(NQLOG_DATA);
  const auto key = ImportKey(L"PKCS8", Fixture("rsa2048.pkcs8.der"));
  const auto& rsa = dynamic_cast<IRSAPrivateCRTKey&>(*key);
  rsa.GetEncoded();
  rsa.GetPrivateExponent();
  rsa.GetPrimeP();
  delete key->Clone();
  ASSERT_FALSE(capture.Lines().empty());
  for (const ByteArray* secret : {&k.d, &k.p, &k.dq}) {
    const std::string hex = ToHex(ByteArray(secret->begin() + 1, secret->begin() + 9));
    std::wstring spaced;  // as byte dumps print them: "ab cd ef"
    for (std::size_t i = 0; i < hex.size(); i += 2)
      spaced += (i ? L" " : L"") + std::wstring(hex.begin() + i, hex.begin() + i + 2);
    for (const auto& line : capture.Lines()) {
      EXPECT_EQ(line.text.find(std::wstring(hex.begin(), hex.end())), std::wstring::npos)
          << std::string(line.text.begin(), line.text.end());
      EXPECT_EQ(line.text.find(spaced), std::wstring::npos);
    }
  }
}

TEST(KeyStructures, RsaPublicKeyBecomesTheBlobsOfBothPlatformPaths) {
  const Numbers k;
  const ByteArray n = Magnitude(k.n);
  const ByteArray rsaPublicKey = Fixture("rsa2048.rsapub.der");

  // BCRYPT_RSAKEY_BLOB: "RSA1", 2048 bits, 3 exponent bytes, 256 modulus bytes, no primes.
  ByteArray cng = Hex("52534131" "00080000" "03000000" "00010000" "00000000" "00000000" "010001");
  cng.insert(cng.end(), n.begin(), n.end());
  EXPECT_EQ(CryptoUtil::DecodeObject<Structure::CngRsaPublicKeyBlob>(rsaPublicKey), cng);

  // PUBLICKEYBLOB, version 2, CALG_RSA_KEYX; RSAPUBKEY "RSA1", 2048, 65537; modulus little-endian.
  ByteArray csp = Hex("06020000" "00a40000" "52534131" "00080000" "01000100");
  csp.insert(csp.end(), n.rbegin(), n.rend());
  EXPECT_EQ(CryptoUtil::DecodeObject<Structure::RsaCspPublicKeyBlob>(rsaPublicKey), csp);

  // An exponent wider than RSAPUBKEY's 32 bits has no PUBLICKEYBLOB.
  Der::Writer w;
  w.Nest(Der::kSequence, [&] {
    w.AddUnsignedInteger(n);
    w.AddUnsignedInteger(Hex("0100000001"));
  });
  ByteArray wideExponent;
  ASSERT_TRUE(w.Finish(&wideExponent));
  EXPECT_TRUE(Thrown([&] { CryptoUtil::DecodeObject<Structure::RsaCspPublicKeyBlob>(wideExponent); }));
  EXPECT_EQ(CryptoUtil::DecodeObject<Structure::CngRsaPublicKeyBlob>(wideExponent).size(), 24u + 5u + 256u);
}

TEST(KeyStructures, ADecodingForThePlatformFailsAsItsCall) {
  const FunctionTrace fn(L"Caller::Step");
  LogCapture capture(NQLOG_ERROR);
  const auto e = Thrown([&] { DecodeForPlatform<Structure::X509PublicKeyInfo>(fn, Hex("3000")); });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"CryptDecodeObjectEx(X509_PUBLIC_KEY_INFO) failed!");
  EXPECT_EQ(MessageAt(e.get(), 1), L"Error decoding the blob (0x80093103)");
  EXPECT_EQ(capture.At(NQLOG_ERROR).back(),
            L"Caller::Step : Error 0x80093103 returned by CryptDecodeObjectEx(X509_PUBLIC_KEY_INFO)");
}

}  // namespace
