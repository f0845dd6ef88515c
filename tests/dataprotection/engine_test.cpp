// The data-protection cipher, its keys, their derivation and the symmetric key system store.
#include <gmock/gmock.h>

#include "cng/crypto.cng.dpapikeys.h"
#include "dataprotection/dpapi_test_util.h"
#include "support/call_failures.h"
#include "support/log_capture.h"

namespace {

using namespace dpapitest;
using zttest::LogCapture;

const ByteArray kAesKey = Hex("000102030405060708090a0b0c0d0e0f");

// A key derived from the store's key for `label`, with `salt`.
std::unique_ptr<IKey> SaltedKey(const WString& label, const ByteArray& salt, const WString& newLabel = L"") {
  const auto derivation = std::unique_ptr<KeyDerivation>(KeyDerivation::Create(Algorithm(L"DPAPI").get(), nullptr));
  const auto base = StoreKey(label);
  derivation->Init(base.get());
  return std::unique_ptr<IKey>(derivation->Derive(newLabel, salt, 0));
}

ByteArray Transform(IKey* key, unsigned int mode, const ByteArray& input) {
  const std::unique_ptr<Cipher> cipher(Cipher::Create(Algorithm(L"DPAPI").get(), nullptr));
  cipher->Init(mode, key);
  ByteArray out;
  cipher->DoFinal(input, out);
  return out;
}

class DataProtectionEngine : public ::testing::Test {
 protected:
  SecretDirectories secrets;
  zttest::NoHandleLeft handles;
  const ByteArray message = Text("protected through the cipher");
  const ByteArray salt = Text("salt as entropy");
};

// Only "Device", exactly, binds to the machine; without the machine's secret it fails with the
// platform's code in the level-1 line. With it, each of the store's keys round-trips, with and
// without salt.
TEST_F(DataProtectionEngine, RoundTripsWithTheStoresKeysAndOnlyDeviceExactlyBindsToTheMachine) {
  for (const wchar_t* label : {L"device", L"DEVICE", L"Device ", L"", L"anything"}) {
    const ByteArray sealed = Transform(SaltedKey(L"User", {}, label).get(), CIPHER_ENCRYPT_MODE, message);
    EXPECT_EQ(sealed[kScopeOffset], kUserScope) << std::wstring(label);
  }
  LogCapture capture(NQLOG_ERROR);
  const auto e = Thrown([&] { Transform(StoreKey(L"Device").get(), CIPHER_ENCRYPT_MODE, message); });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"Cipher failed");
  EXPECT_EQ(MessageAt(e.get(), 1), L"CryptProtectData failed!");
  EXPECT_EQ(capture.At(NQLOG_ERROR).front(), L"CDataProtectionAPICipher::Cipher : Error 0x2 returned by CryptProtectData");

  secrets.CreateMachineSecret();
  for (const wchar_t* label : {L"User", L"Device"}) {
    SCOPED_TRACE(std::wstring(label));
    const unsigned char scope = std::wstring(label) == L"Device" ? kMachineScope : kUserScope;
    const auto plain = StoreKey(label), salted = SaltedKey(label, salt);
    const ByteArray sealed = Transform(plain.get(), CIPHER_ENCRYPT_MODE, message);
    const ByteArray sealedWithSalt = Transform(salted.get(), CIPHER_ENCRYPT_MODE, message);
    EXPECT_EQ(sealed[kScopeOffset], scope);
    EXPECT_EQ(sealedWithSalt[kScopeOffset], scope);
    EXPECT_EQ(Transform(plain.get(), CIPHER_DECRYPT_MODE, sealed), message);
    EXPECT_EQ(Transform(salted.get(), CIPHER_DECRYPT_MODE, sealedWithSalt), message);
    // The salt is the entropy, exactly; no salt is no entropy.
    EXPECT_EQ(Unprotect(sealedWithSalt, &salt).bytes, message);
    EXPECT_EQ(Unprotect(sealed).bytes, message);
    EXPECT_TRUE(Thrown([&] { Transform(plain.get(), CIPHER_DECRYPT_MODE, sealedWithSalt); }));
    EXPECT_TRUE(Thrown([&] { Transform(salted.get(), CIPHER_DECRYPT_MODE, sealed); }));
  }
  // Either key opens what it may: the blob says whose it is.
  const auto user = StoreKey(L"User"), device = StoreKey(L"Device");
  EXPECT_EQ(Transform(device.get(), CIPHER_DECRYPT_MODE, Transform(user.get(), CIPHER_ENCRYPT_MODE, message)), message);
}

// What was fed in parts opens; a changed blob does not, and the cipher takes no other key and no
// certificate.
TEST_F(DataProtectionEngine, UnprotectsWhatWasFedInPartsAndRefusesAnythingElse) {
  const auto key = StoreKey(L"User");
  ByteArray sealed = Transform(key.get(), CIPHER_ENCRYPT_MODE, message);
  const std::unique_ptr<Cipher> cipher(Cipher::Create(Algorithm(L"DPAPI").get(), nullptr));
  cipher->Init(CIPHER_DECRYPT_MODE, key.get());
  cipher->Update(ByteArray(sealed.begin(), sealed.begin() + 10));
  ByteArray out;
  cipher->DoFinal(ByteArray(sealed.begin() + 10, sealed.end()), out);
  EXPECT_EQ(out, message);

  sealed.back() ^= 1;
  cipher->Init(CIPHER_DECRYPT_MODE, key.get());
  out = Text("kept");
  LogCapture capture(NQLOG_ERROR);
  auto e = Thrown([&] { cipher->DoFinal(sealed, out); });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"Cipher failed");
  EXPECT_EQ(MessageAt(e.get(), 1), L"CryptUnprotectData failed!");
  EXPECT_EQ(out, Text("kept"));

  // A cipher that failed stays initialised: a new one for the other keys.
  const std::unique_ptr<Cipher> other(Cipher::Create(Algorithm(L"DPAPI").get(), nullptr));
  ExpectFailure(Thrown([&] { other->Init(CIPHER_ENCRYPT_MODE, static_cast<ICertificate*>(nullptr)); }),
                CRYPTO_NOT_SUPPORTED, L"Only DPAPI keys are supported");
  const auto aes = RawKey(kAesKey, L"AES");
  other->Init(CIPHER_ENCRYPT_MODE, aes.get());
  e = Thrown([&] { other->DoFinal(message, out); });
  ExpectFailure(e, CRYPTO_NOT_SUPPORTED, L"Cipher failed");
  EXPECT_EQ(MessageAt(e.get(), 1), L"Only DPAPI keys are supported");
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            (std::vector<std::wstring>{L"CDataProtectionAPICipher::Cipher : Error 0xd returned by CryptUnprotectData",
                                       L"CCNGBaseCipher::DoFinal : Cipher failed",
                                       L"CDataProtectionAPICipher::Init : Only DPAPI keys are supported",
                                       L"CDataProtectionAPICipher::Cipher : Only DPAPI keys are supported",
                                       L"CCNGBaseCipher::DoFinal : Cipher failed"}));
}

// Every line at every level, data lines included, while protecting and unprotecting with a salt:
// none carries the data, the salt or the user's secret, as text or as a byte dump.
TEST_F(DataProtectionEngine, TracesNothingOfTheSecrets) {
  const auto key = SaltedKey(L"User", salt);
  LogCapture capture(NQLOG_DATA);
  const ByteArray sealed = Transform(key.get(), CIPHER_ENCRYPT_MODE, message);
  EXPECT_EQ(Transform(key.get(), CIPHER_DECRYPT_MODE, sealed), message);
  const auto dump = [](const ByteArray& bytes) {  // the first six bytes as a byte dump shows them
    std::string hex;
    for (std::size_t i = 0; i < 6; ++i) hex += (i == 0 ? "" : " ") + ToHex(ByteArray(1, bytes[i]));
    return std::wstring(hex.begin(), hex.end());
  };
  // The user's secret where the service keeps one in a file of its own (not on Windows).
  const ByteArray secret = FileBytes(secrets.UserSecret());
  std::vector<std::wstring> forbidden = {L"protected through", L"salt as", dump(message), dump(salt)};
  if (secret.size() >= 6) forbidden.push_back(dump(secret));
  ASSERT_FALSE(capture.Lines().empty());
  for (const auto& line : capture.Lines())
    for (const std::wstring& text : forbidden) EXPECT_EQ(line.text.find(text), std::wstring::npos) << line.text;
}

TEST(DataProtectionKey, HoldsALabelAndAtMostOneSalt) {
  const auto key = StoreKey(L"User");
  EXPECT_EQ(key->GetAlgorithm()->GetFriendlyName(), L"DPAPI");
  ExpectFailure(Thrown([&] { key->GetEncoded(); }), CRYPTO_NOT_SUPPORTED, L"Not Supported");
  ExpectFailure(Thrown([&] { key->GetFormat(); }), CRYPTO_NOT_SUPPORTED, L"No format for DPAPI keys");

  auto& dpapiKey = dynamic_cast<CDataProtectionAPIKey&>(*key);
  dpapiKey.SetSalt({});  // no salt: nothing changes
  EXPECT_TRUE(dpapiKey.GetSalt().empty());
  dpapiKey.SetSalt(Text("one"));
  ExpectFailure(Thrown([&] { dpapiKey.SetSalt(Text("two")); }), CRYPTO_ILLEGAL_STATE,
                L"A salt already exists, how to deal with it?");
  const std::unique_ptr<IKey> copy(key->Clone());
  const auto& dpapiCopy = dynamic_cast<const CDataProtectionAPIKey&>(*copy);
  EXPECT_EQ(dpapiCopy.GetLabel(), L"User");
  EXPECT_EQ(dpapiCopy.GetSalt(), Text("one"));
  EXPECT_NE(copy->GetAlgorithm(), key->GetAlgorithm());
}

TEST(DataProtectionKeyDerivation, DerivesLabelledSaltedKeysFromAKeyOfItsKind) {
  const auto algorithm = Algorithm(L"DPAPI");
  const std::unique_ptr<KeyDerivation> kdf(KeyDerivation::Create(algorithm.get(), nullptr));
  const auto user = StoreKey(L"User");
  const auto shared = std::unique_ptr<ISharedSecret>(ISharedSecret::Create(Text("pw")));
  ExpectFailure(Thrown([&] { kdf->Derive(L"", {}, 0); }), CRYPTO_ILLEGAL_STATE, L"KeyDerivation is not initialized");
  ExpectFailure(Thrown([&] { kdf->Init(static_cast<IKey*>(nullptr)); }), CRYPTO_BAD_PARAM, L"pKey should not be NULL");
  ExpectFailure(Thrown([&] { kdf->Init(RawKey(kAesKey, L"AES").get()); }), CRYPTO_BAD_PARAM,
                L"pKey should be a DPAPI key");
  ExpectFailure(Thrown([&] { kdf->Init(shared.get()); }), CRYPTO_NOT_SUPPORTED, L"Not Supported");
  ExpectFailure(Thrown([&] {
                  ByteArray out;
                  kdf->Derive({}, 16, out);
                }),
                CRYPTO_NOT_SUPPORTED, L"Not Supported");

  kdf->Init(user.get());
  ExpectFailure(Thrown([&] { kdf->Init(user.get()); }), CRYPTO_ILLEGAL_STATE, L"KeyDerivation is already initialized");
  ExpectFailure(Thrown([&] { delete kdf->Derive(L"", {}, 16); }), CRYPTO_NOT_SUPPORTED, L"Not Supported");
  const std::unique_ptr<IKey> derived(kdf->Derive(L"", Text("s"), 0));  // kept initialised by the failure
  const auto& key = dynamic_cast<const CDataProtectionAPIKey&>(*derived);
  EXPECT_EQ(key.GetLabel(), L"User");
  EXPECT_EQ(key.GetSalt(), Text("s"));
  ExpectFailure(Thrown([&] { delete kdf->Derive(L"", {}, 0); }), CRYPTO_ILLEGAL_STATE,
                L"KeyDerivation is not initialized");

  // From a salted key: another label, the same salt, and no second salt.
  kdf->Init(derived.get());
  const std::unique_ptr<IKey> relabelled(kdf->Derive(L"Device", {}, 0));
  EXPECT_EQ(dynamic_cast<const CDataProtectionAPIKey&>(*relabelled).GetLabel(), L"Device");
  EXPECT_EQ(dynamic_cast<const CDataProtectionAPIKey&>(*relabelled).GetSalt(), Text("s"));
  kdf->Init(derived.get());
  ExpectFailure(Thrown([&] { delete kdf->Derive(L"", Text("t"), 0); }), CRYPTO_ILLEGAL_STATE,
                L"A salt already exists, how to deal with it?");
}

TEST(SymetricKeySystemStore, ListsOneNewKeyPerCallForExactLabels) {
  const std::unique_ptr<ISymetricKeySystemStore> store(ISymetricKeySystemStore::Load(L""));
  const std::unique_ptr<ICryptoParserFilter> filter(ICryptoParserFilter::Create());
  SymetricKeyList keys;
  LogCapture capture;
  ExpectFailure(Thrown([&] { store->ListSymetricKey(filter.get(), keys); }), CRYPTO_BAD_PARAM,
                L"pCertFilter parameter must contain a key label!");
  EXPECT_EQ(capture.At(NQLOG_EXIT).back(),
            L"CSymetricKeySystemStore::ListSymetricKey Returns pCertFilter parameter must contain a key label!");
  ExpectFailure(Thrown([&] { store->ListSymetricKey(nullptr, keys); }), CRYPTO_BAD_PARAM,
                L"pCertFilter parameter must contain a key label!");
  for (const wchar_t* label : {L"user", L"device", L"Users", L""}) {
    filter->SetLabel(label);
    const auto e = Thrown([&] { store->ListSymetricKey(filter.get(), keys); });
    ExpectFailure(e, CRYPTO_BAD_PARAM, L"Unknown key label!");
    ASSERT_TRUE(e);
    EXPECT_EQ(e->getFilename(), L"sources/cng/crypto.cng.symkeysysstores");
  }
  EXPECT_TRUE(keys.empty());

  capture.Clear();
  filter->SetLabel(L"User");
  EXPECT_EQ(store->ListSymetricKey(filter.get(), keys), 1u);
  EXPECT_EQ(store->ListSymetricKey(filter.get(), keys), 2u);  // appended: the list is not cleared
  filter->SetLabel(L"Device");
  EXPECT_EQ(store->ListSymetricKey(filter.get(), keys), 3u);
  EXPECT_THAT(capture.At(NQLOG_DATA), testing::Contains(L"CSymetricKeySystemStore::ListSymetricKey : sLabel = User"));
  const std::vector<WString> labels{L"User", L"User", L"Device"};
  std::size_t i = 0;
  for (IKey* key : keys) EXPECT_EQ(dynamic_cast<CDataProtectionAPIKey*>(key)->GetLabel(), labels[i++]);
  EXPECT_NE(keys.front(), *std::next(keys.begin()));
  for (IKey* key : keys) delete key;

  ExpectFailure(Thrown([&] { store->DeleteKey(nullptr); }), CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
  capture.Clear();
  delete ISymetricKeySystemStore::Load(L"");
  EXPECT_THAT(capture.Trace(), testing::ElementsAre(L"8|ISymetricKeySystemStore::Load", testing::_,
                                                     L"16|CSymetricKeySystemStore::CSymetricKeySystemStore",
                                                     L"16|ISymetricKeySystemStore::Load", testing::_,
                                                     L"16|CSymetricKeySystemStore::~CSymetricKeySystemStore"));
  ExpectFailure(Thrown([&] { ISymetricKeySystemStore::save(store.get(), L"any"); }), CRYPTO_NOT_IMPLEMENTED,
                L"Not Implemented");
}

TEST_F(DataProtectionEngine, ServiceInterfaceCarriesTheDescriptionAndTheMachineSecret) {
  const std::string path = secrets.MachineSecret();
  EXPECT_EQ(IDataProtection::GetMachineSecretPath(), WString(path.begin(), path.end()));
  EXPECT_FALSE(IDataProtection::HasMachineSecret());
  EXPECT_TRUE(IDataProtection::CreateMachineSecret());
  EXPECT_FALSE(IDataProtection::CreateMachineSecret());
  EXPECT_TRUE(IDataProtection::HasMachineSecret());

  const ByteArray sealed = IDataProtection::Protect(message, L"about it", salt, true);
  EXPECT_EQ(sealed[kScopeOffset], kMachineScope);
  WString description = L"before";
  ExpectFailure(Thrown([&] { IDataProtection::Unprotect(sealed, {}, description); }), CRYPTO_INTERNAL_ERROR,
                L"CryptUnprotectData failed (0xd)");
  EXPECT_EQ(description, L"before");
  EXPECT_EQ(IDataProtection::Unprotect(sealed, salt, description), message);
  EXPECT_EQ(description, L"about it");
  EXPECT_EQ(Transform(SaltedKey(L"User", salt).get(), CIPHER_DECRYPT_MODE, sealed), message);
}

}  // namespace
