#include "tests/loopback/self_signed.h"

#include <memory>
#include <stdexcept>

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace zendro::loopback {
namespace {

struct Free {
  void operator()(BIO* bio) const { BIO_free(bio); }
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
};
template <class Object>
using Owned = std::unique_ptr<Object, Free>;

void require(bool succeeded) {
  if (!succeeded) throw std::runtime_error("The certificate cannot be made.");
}

void add_extension(X509* certificate, int nid, const std::string& value) {
  const Owned<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, nullptr, nid, value.c_str()));
  require(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

std::string text_of(BIO* bio) {
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(bio, &bytes);
  return {bytes, static_cast<std::size_t>(size)};
}

}  // namespace

TlsIdentity make_self_signed(const std::string& host) {
  const Owned<EVP_PKEY> key(EVP_EC_gen("P-256"));
  const Owned<X509> certificate(X509_new());
  require(key && certificate);
  X509* x509 = certificate.get();
  X509_set_version(x509, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(x509), 1);
  X509_gmtime_adj(X509_getm_notBefore(x509), -3600);
  X509_gmtime_adj(X509_getm_notAfter(x509), 24 * 3600);
  X509_set_pubkey(x509, key.get());
  X509_NAME* name = X509_get_subject_name(x509);
  require(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                     reinterpret_cast<const unsigned char*>(host.c_str()), -1, -1,
                                     0) == 1);
  require(X509_set_issuer_name(x509, name) == 1);
  const bool is_address = host.find_first_not_of("0123456789.") == std::string::npos;
  add_extension(x509, NID_subject_alt_name, (is_address ? "IP:" : "DNS:") + host);
  add_extension(x509, NID_basic_constraints, "critical,CA:TRUE");
  require(X509_sign(x509, key.get(), EVP_sha256()) > 0);

  const Owned<BIO> certificate_text(BIO_new(BIO_s_mem()));
  const Owned<BIO> key_text(BIO_new(BIO_s_mem()));
  require(certificate_text && key_text && PEM_write_bio_X509(certificate_text.get(), x509) == 1 &&
          PEM_write_bio_PrivateKey(key_text.get(), key.get(), nullptr, nullptr, 0, nullptr,
                                   nullptr) == 1);
  return {text_of(certificate_text.get()), text_of(key_text.get())};
}

}  // namespace zendro::loopback
