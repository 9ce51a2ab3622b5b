#include "StoreListing.h"

#include <openssl/evp.h>
#include <sqlite3.h>

#include <algorithm>
#include <memory>

#include "rapidjson/document.h"

namespace OstrelCli {
namespace {

// Computed here, independently of the library's own digest code, so that a
// fault there shows up as records that do not verify.
std::string Md5Hex(const std::string& text) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(text.data(), text.size(), digest, &length, EVP_md5(), nullptr) != 1) {
    return std::string();
  }
  static const char kHex[] = "0123456789abcdef";
  std::string hex;
  for (unsigned int i = 0; i < length; ++i) {
    hex += kHex[digest[i] >> 4];
    hex += kHex[digest[i] & 0xf];
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

bool StoreListing::Read(const std::string& path, StoreListing& listing, std::string& error) {
  sqlite3* raw = nullptr;
  const int opened = sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READONLY, nullptr);
  std::unique_ptr<sqlite3, int (*)(sqlite3*)> db(raw, sqlite3_close);
  if (opened != SQLITE_OK) {
    error = raw != nullptr ? sqlite3_errmsg(raw) : sqlite3_errstr(opened);
    return false;
  }
  sqlite3_stmt* rawStatement = nullptr;
  if (sqlite3_prepare_v2(db.get(),
                         "SELECT scope, key, value FROM ostrel_scoped_records "
                         "ORDER BY scope, key",
                         -1, &rawStatement, nullptr) != SQLITE_OK) {
    error = sqlite3_errmsg(db.get());
    return false;
  }
  std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(rawStatement, sqlite3_finalize);
  StoreListing read;
  int step = SQLITE_ROW;
  while ((step = sqlite3_step(statement.get())) == SQLITE_ROW) {
    std::string columns[3];
    for (int i = 0; i < 3; ++i) {
      const void* bytes = sqlite3_column_blob(statement.get(), i);
      const int size = sqlite3_column_bytes(statement.get(), i);
      if (bytes != nullptr) columns[i].assign(static_cast<const char*>(bytes), size);
    }
    read.records.push_back(Examine(columns[0], columns[1], columns[2]));
  }
  if (step != SQLITE_DONE) {
    error = sqlite3_errmsg(db.get());
    return false;
  }
  listing = std::move(read);
  return true;
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
