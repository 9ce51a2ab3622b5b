#include "StoreListing.h"

#include <algorithm>

#include "Md5.h"
#include "rapidjson/document.h"

namespace OstrelCli {
namespace {

std::string Md5Hex(const std::string& text) {
  unsigned char digest[kMd5Bytes];
  if (!Md5(text, digest)) return std::string();
  static const char kHex[] = "0123456789abcdef";
  std::string hex;
  for (unsigned char byte : digest) {
    hex += kHex[byte >> 4];
    hex += kHex[byte & 0xf];
  }
  return hex;
}

std::string VersionOf(const std::string& document) {
  rapidjson::Document parsed;
  parsed.Parse(document.data(), document.size());
  if (parsed.HasParseError() || !parsed.IsObject()) return std::string();
  const auto version = parsed.FindMember("version");
  if (version == parsed.MemberEnd() || !version->value.IsString()) return std::string();
  return std::string(version->value.GetString(), version->value.GetStringLength());
}

const char* DigestText(StoreListing::Digest digest) {
  switch (digest) {
    case StoreListing::Digest::kVerified:
      return "digest ok";
    case StoreListing::Digest::kMismatch:
      return "digest does not match";
    case StoreListing::Digest::kNoDigestLine:
      return "no digest line";
  }
  return "";
}

std::string Column(const std::string& text, size_t width) {
  return text + std::string(width - text.size() + 2, ' ');
}

}  // namespace

StoreListing::Record StoreListing::Examine(const std::string& scope, const std::string& key,
                                           const std::string& value) {
  Record record;
  record.scope = scope;
  record.key = key;
  const size_t lineFeed = value.find('\n');
  if (lineFeed == std::string::npos) {
    record.version = VersionOf(value);
    return record;
  }
  const std::string document = value.substr(lineFeed + 1);
  record.version = VersionOf(document);
  // Only the exact lowercase hex of the document's digest verifies.
  record.digest =
      value.compare(0, lineFeed, Md5Hex(document)) == 0 ? Digest::kVerified : Digest::kMismatch;
  return record;
}

std::string StoreListing::Format() const {
  size_t keyWidth = 0;
  size_t versionWidth = 1;
  for (const Record& record : records) {
    keyWidth = std::max(keyWidth, record.key.size());
    versionWidth = std::max(versionWidth, record.version.size());
  }
  std::string text;
  for (const Record& record : records) {
    std::string line = Column(record.key, keyWidth) +
                       Column(record.version.empty() ? "-" : record.version, versionWidth) +
                       DigestText(record.digest);
    if (!record.scope.empty()) line += "  (scope " + record.scope + ")";
    text += line + "\n";
  }
  return text;
}

}  // namespace OstrelCli
