#include "orvane/Categories/NSDataMd5.h"

#include <openssl/evp.h>

#include "Platform/Text.h"

namespace orvane {

namespace {

// The MD5 implementation, fetched once: an explicit fetch spares OpenSSL the
// provider lookup that EVP_md5() costs on every digest.
const EVP_MD* md5Algorithm() {
  static EVP_MD* const algorithm = EVP_MD_fetch(nullptr, "MD5", nullptr);
  return algorithm ? algorithm : EVP_md5();
}

}  // namespace

std::optional<std::string> NSDataMd5::md5Value(ByteView data) {
  if (data.empty()) return std::nullopt;
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digestLength = 0;
  if (EVP_Digest(data.data(), data.size(), digest, &digestLength, md5Algorithm(), nullptr) != 1 ||
      digestLength != 16)
    return std::nullopt;
  std::string text;
  text.reserve(32);
  appendUpperHex(text, ByteView(digest, digestLength));
  return text;
}

}  // namespace orvane
