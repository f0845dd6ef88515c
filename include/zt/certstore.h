// Certificate contexts and certificate stores: a certificate paired with its private key, the
// in-memory stores that read and write PKCS #7 certificate bundles and PKCS #12 (PFX) files, the
// certificate file store, and the system store, which refuses.
//
// Ownership. Factories (Create, Load, load) and Clone return objects the caller owns and deletes.
// A context keeps clones of the certificate and key it is given; GetCertificate and GetPrivateKey
// return objects the context still owns. A store keeps clones of the contexts added to it; the
// contexts ListCertContext lists still belong to the store and live until DeleteCertContext
// removes them or the store is deleted. Not safe for concurrent use.
#pragma once

#include <cstddef>
#include <list>

#include "zt/certificate.h"
#include "zt/export.h"
#include "zt/key.h"
#include "zt/parameters.h"
#include "zt/secure.h"

namespace ZT::Framework {

class ZT_CRYPTO_API ICertContext {
 public:
  virtual ~ICertContext();

  // A new context with clones of this one's certificate and private key (when it has one).
  virtual ICertContext* Clone() const = 0;
  // The certificate, never null; owned by the context.
  virtual ICertificate* GetCertificate() const = 0;
  // The private key, or null for a context without one; owned by the context.
  virtual IPrivateKey* GetPrivateKey() const = 0;

  // A new context without private key holding a clone of `pCertificate` (the caller keeps its
  // own). A null certificate throws CRYPTO_BAD_PARAM ("new CCertContext() failed" around
  // "pCertificate=empty").
  static ICertContext* Create(ICertificate* pCertificate);
  // A new context holding clones of `pCertificate` and `pPrivateKey`. Either one null throws
  // CRYPTO_BAD_PARAM ("pCertificate=empty", "pPrivateKey=empty" inside "new CCertContext()
  // failed"): a context is made complete or not at all. The key is not checked against the
  // certificate.
  static ICertContext* Create(ICertificate* pCertificate, IPrivateKey* pPrivateKey);

 protected:
  ICertContext() = default;
  ICertContext(const ICertContext&) = default;
  ICertContext& operator=(const ICertContext&) = default;
};

// Contexts as a store lists them.
using CertContextList = std::list<ICertContext*>;

// A collection of certificate contexts.
class ZT_CRYPTO_API ICertStore {
 public:
  virtual ~ICertStore();

  // The store in its format, replacing `baStore`'s content.
  virtual void Save(ByteArray& baStore) = 0;
  // Replaces the content of `contexts` with every context of the store, in the order in which
  // they were added, and returns their number. The filter is logged but not applied: every
  // context is listed whatever it says. The listed contexts still belong to the store.
  virtual std::size_t ListCertContext(ICryptoParserFilter* pCertFilter, CertContextList& contexts) = 0;
  // Adds a clone of `pCertContext` (the caller keeps its own). Adding the same context twice
  // keeps it twice. A null context throws CRYPTO_BAD_PARAM ("pCertContext=empty!").
  virtual void AddCertContext(ICertContext* pCertContext) = 0;
  // Removes one context of the store and deletes it: `pCertContext` itself when it is one the
  // store listed, else the first context (in listing order) whose certificate is the same
  // (ICertificate::Compare, equal SHA-1 thumbprints) whatever its key. The certificate goes from
  // the serialised form too (a later Save no longer writes it). A null context, or one that
  // matches none, is logged (level 2) and ignored.
  virtual void DeleteCertContext(ICertContext* pCertContext) = 0;

 protected:
  ICertStore() = default;
  ICertStore(const ICertStore&) = default;
  ICertStore& operator=(const ICertStore&) = default;
};

// An in-memory store that reads and writes PKCS #7 certificate bundles (a SignedData without
// signers whose only content is its certificates: ".p7b" files, what "openssl crl2pkcs7 -nocrl"
// writes). Private keys of the contexts are kept in the list but never written.
//
// Order. The platform keeps a store's certificates newest first: it enumerates them in the
// reverse of the order in which they went in, and a bundle is read in the order its certificates
// are stored. So Load lists a bundle's certificates last stored first, and Save writes the
// contexts last added first; a bundle saved and loaded again lists its contexts in the order
// they were added.
class ZT_CRYPTO_API ICertP7bStore : public ICertStore {
 public:
  ~ICertP7bStore() override;

  // A new empty store. A platform store that cannot be opened throws "new CCertP7bStore()
  // failed" around "Error open store (0x...)".
  static ICertP7bStore* Create();
  // A new store holding the certificates of the bundle `baP7bStore` (DER, or BER as streaming
  // writers leave it; not base64), each in a context
  // without private key, listed in the order described above. Every failure throws "new
  // CCertP7bStore(pP7bStore) failed" around its reason: CRYPTO_BAD_PARAM "Error : bad input
  // parameters" (no bytes), "Error deserialize (pkcs7) to store (0x80092009)" (bytes that are
  // not an unsigned PKCS #7 bundle, such as a single certificate, or anything after one), "AddCertContext failed" (a
  // certificate the library cannot hold, see ICertificate::Create).
  static ICertP7bStore* Load(const ByteArray& baP7bStore);
};

// A certificate read from a file and written to a file, through memory mapping. The bytes go
// through unchanged: load hands the file's bytes to ICertificate::Create("X509", ...), which reads
// DER; save writes the certificate's encoding and nothing else. Failures throw CRYPTO_BAD_PARAM
// with the system's error code, at least two hex digits: "Error openning the file <name> (0x02)"
// (missing file; 0x05 access denied; a directory cannot be opened either), "Error creating file
// mapping (0x...)" (an empty file cannot be mapped: 0x3ee), "Error mapping view of file (0x...)".
class ZT_CRYPTO_API ICertPEMStore {
 public:
  // A new certificate, owned by the caller, from the file `sFilename`. An empty name throws
  // "sFilename=empty!"; bytes that are not a certificate throw "ICertificate::Create() failed".
  static ICertificate* load(const WString& sFilename);
  // Writes the encoding of `pStore` (the certificate) to `sFilename`, replacing any file of that
  // name: the file ends up exactly as long as the encoding. A null certificate throws
  // "pStore=NULL!", an empty name "sFilename=empty!". The file is emptied when it is opened, so a
  // failure after that (mapping it) leaves it empty.
  static void save(ICertificate* pStore, const WString& sFilename);

  ICertPEMStore() = delete;
};

// The operating system's certificate stores: not offered. Both operations throw
// CRYPTO_NOT_IMPLEMENTED ("Not Implemented") whatever their arguments, and open nothing.
class ZT_CRYPTO_API ICertSystemStore {
 public:
  static ICertStore* Load(const WString& sName);
  static void save(ICertStore* pStore, const WString& sName);

  ICertSystemStore() = delete;
};

// A store of certificates with their private keys, read from and written to PKCS #12 (PFX)
// files.
//
// load reads what "openssl pkcs12 -export" writes with its current defaults (AES-256-CBC under
// PBKDF2, SHA-256 MAC) and with -legacy (3DES and RC2-40 under the PKCS #12 key derivation, SHA-1
// MAC), files without MAC, and what the platform writes. Each certificate becomes a context;
// a private key is paired with the certificate whose public key it matches (not by its place in
// the file), so a chain with one key gives one context with the key and the others without. A
// key is an IRSAPrivateCRTKey. The contexts are listed in the order described for ICertP7bStore
// (the platform enumerates the file's certificates last first).
//
// save writes every context's certificate, and the private key of each context that has one,
// under the password: keys as PKCS #8 shrouded key bags and certificates in an encrypted safe,
// both AES-256-CBC with PBKDF2-HMAC-SHA256 (2048 iterations), and a SHA-256 MAC (2048
// iterations) under the same password; "openssl pkcs12" reads it. A key and its certificate
// carry the same local key identifier (the certificate's SHA-1 thumbprint).
//
// Passwords are UTF-8 in the file (an empty password is also tried as none, as the platform
// does); they and the keys are held in wiping memory and never written to a trace line.
class ZT_CRYPTO_API ICertP12Store : public ICertStore {
 public:
  ~ICertP12Store() override;

  // A new store holding the contexts of the PFX `baPfx` under `sPassword`; Save writes them back
  // to a PFX under the same password. Failures (CRYPTO_* id, message):
  //   4005 "Invalid PFX blob"                         not a PFX (empty bytes included)
  //   4012 "Unable to load the PFX blob (0x56)"       wrong password (the platform's code)
  //   4000 "Unable to load the PFX blob (0x...)"      a PFX whose content cannot be read
  //   4000 "Private key without its certificate in the PFX blob"
  //   4002 "Only RSA private keys are supported"      a key of another type (EC keys included)
  //   "new ICertificate() failed"                     a certificate the library cannot hold
  // Nothing is made when any certificate or key fails.
  static ICertP12Store* load(const ByteArray& baPfx, const WString& sPassword);
  // The PFX of every context of `pStore` (as its ListCertContext lists them) under `sPassword`.
  // A null store throws CRYPTO_BAD_PARAM ("pStore=NULL!"); a key that is not an
  // IRSAPrivateCRTKey throws CRYPTO_NOT_SUPPORTED ("Only RSA private keys are supported").
  static ByteArray save(ICertStore* pStore, const WString& sPassword);
};

}  // namespace ZT::Framework
