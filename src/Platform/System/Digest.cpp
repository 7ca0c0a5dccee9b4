#include "Platform/System/Digest.h"

#include <openssl/evp.h>

#include <algorithm>

namespace orvane {

namespace {

// The MD5 implementation, fetched once: an explicit fetch spares OpenSSL the
// provider lookup that EVP_md5() costs on every digest.
const EVP_MD* md5Algorithm() {
  static EVP_MD* const algorithm = EVP_MD_fetch(nullptr, "MD5", nullptr);
  return algorithm ? algorithm : EVP_md5();
}

}  // namespace

std::optional<std::array<std::uint8_t, 16>> md5Digest(ByteView bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digestLength = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &digestLength, md5Algorithm(), nullptr) != 1 ||
      digestLength != 16)
    return std::nullopt;
  std::array<std::uint8_t, 16> result;
  std::copy(digest, digest + 16, result.begin());
  return result;
}

}  // namespace orvane
