#include "update/IndexUpdateHandler.h"

#include <rapidjson/document.h>

#include "host/Clock.h"
#include "host/LogManager.h"
#include "host/StatisticsManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.IndexUpdateHandler");

std::string TrimSpaces(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return std::string();
  const size_t last = text.find_last_not_of(' ');
  return text.substr(first, last - first + 1);
}

// Items are matched by prefix, in this order: an item "cdnx=1" fills cdn.
void ParseKeyValueForm(const std::string& text, IndexUpdateHandler::IndexUpdateInfo& info) {
  const struct {
    const char* key;
    std::string IndexUpdateHandler::IndexUpdateInfo::*field;
  } kKeys[] = {
      {"cdn", &IndexUpdateHandler::IndexUpdateInfo::cdn},
      {"md5", &IndexUpdateHandler::IndexUpdateInfo::md5},
      {"protocol", &IndexUpdateHandler::IndexUpdateInfo::protocol},
      {"resourceId", &IndexUpdateHandler::IndexUpdateInfo::resourceId},
  };
  size_t start = 0;
  for (;;) {
    const size_t end = text.find('&', start);
    const std::string item =
        text.substr(start, end == std::string::npos ? std::string::npos : end - start);
    const size_t equals = item.find('=');
    const std::string value =
        TrimSpaces(equals == std::string::npos ? item : item.substr(equals + 1));
    const std::string trimmedItem = TrimSpaces(item);
    for (const auto& key : kKeys) {
      if (trimmedItem.compare(0, std::char_traits<char>::length(key.key), key.key) == 0) {
        info.*key.field = value;
        break;
      }
    }
    if (end == std::string::npos) break;
    start = end + 1;
  }
}

bool ParseJsonForm(const std::string& text, IndexUpdateHandler::IndexUpdateInfo& info) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
  const struct {
    const char* key;
    std::string IndexUpdateHandler::IndexUpdateInfo::*field;
    const char* message;
  } kMembers[] = {
      {"cdn", &IndexUpdateHandler::IndexUpdateInfo::cdn, "cdn data format error"},
      {"md5", &IndexUpdateHandler::IndexUpdateInfo::md5, "md5 data format error"},
      {"protocol", &IndexUpdateHandler::IndexUpdateInfo::protocol, "protocol data format error"},
      {"resourceId", &IndexUpdateHandler::IndexUpdateInfo::resourceId,
       "resourceId data format error"},
  };
  const bool isObject = !document.HasParseError() && document.IsObject();
  for (const auto& member : kMembers) {
    const rapidjson::Value* value = nullptr;
    if (isObject) {
      auto found = document.FindMember(member.key);
      if (found != document.MemberEnd()) value = &found->value;
    }
    if (value == nullptr || !value->IsString()) {
      LogError("ParseIndexUpdInfo", kTag, member.message);
      return false;
    }
    (info.*member.field).assign(value->GetString(), value->GetStringLength());
  }
  return true;
}

}  // namespace

IndexUpdateHandler::IndexUpdateHandler(Target* target, ServiceRequests* requests,
                                       Executor* checks, UpdateCheckGate* gate)
    : target_(target), requests_(requests), checks_(checks), gate_(gate) {}

bool IndexUpdateHandler::ParseIndexUpdInfo(const std::string& text, bool isJson,
                                           IndexUpdateInfo& info) {
  if (isJson) return ParseJsonForm(text, info);
  ParseKeyValueForm(text, info);
  return true;
}

void IndexUpdateHandler::UpdateIndex(const std::string& text, bool isJson) {
  const char* kMethod = "UpdateIndex";
  if (text.empty()) {
    LogError(kMethod, kTag, "IndexUpdateHandler::UpdateIndex , parameter value is empty error");
    return;
  }
  IndexUpdateInfo info;
  if (!ParseIndexUpdInfo(text, isJson, info)) {
    LogError(kMethod, kTag, "parse index up info error!!!");
    StatCommitFail(Stat::kModule, Stat::kIndexRate, "", "parse index up info error!!!",
                   isJson ? "json" : "text");
    return;
  }
  {
    MutexLock lock(&mutex_);
    if (info.cdn == lastAccepted_.cdn && info.resourceId == lastAccepted_.resourceId &&
        info.md5 == lastAccepted_.md5) {
      LogInfo(kMethod, kTag, "it is a same index info,resourceid is " + info.resourceId);
      return;
    }
    lastAccepted_ = info;
    // Under the lock: the scheme always follows the notice accepted last.
    requests_->SetFetchScheme(info.protocol);
  }
  target_->UpdateIndex(info);
}

void IndexUpdateHandler::CheckIndexUpdate(int64_t appIndexVersion, int64_t versionIndexVersion) {
  int64_t now = 0;
  int64_t last = 0;
  if (gate_->TryPass(&now, &last)) {
    checks_->Post(
        [this, appIndexVersion, versionIndexVersion] {
          RunUpdateCheck(appIndexVersion, versionIndexVersion);
        },
        "IndexUpdateHandler::CheckIndexUpdate");
    return;
  }
  LogWarn("CheckIndexUpdate", kTag,
          "checkIndexUpdate too frequently, interval should more than " +
              std::to_string(UpdateCheckGate::kIntervalMs) + " lastIndexUpdTime is " +
              std::to_string(last) + " startUpdTime " + std::to_string(now));
}

void IndexUpdateHandler::RunUpdateCheck(int64_t appIndexVersion, int64_t versionIndexVersion) {
  const char* kMethod = "operator ()";
  const int64_t start = Clock::SteadyMillis();
  std::string body;
  if (!requests_->CheckUpdate(appIndexVersion, versionIndexVersion, body)) {
    const char* message = "auth request back null,download index failed,index may not updated!!!";
    LogError(kMethod, kTag, message);
    StatCommitFail(Stat::kModule, Stat::kIndexRate, "", message, kCheckUpdatePath);
  } else {
    // An empty answer, or an object that names no index resource, means the
    // cached index is current. Anything else is read as a notice, whose
    // parser reports what is wrong with it.
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(body.data(), body.size());
    const bool notUpdated = body.empty() || (!document.HasParseError() && document.IsObject() &&
                                             !document.HasMember("resourceId"));
    if (notUpdated) {
      const char* message = "auth request sucessfully, but index is not updated";
      LogInfo(kMethod, kTag, message);
      StatCommitFail(Stat::kModule, Stat::kIndexRate, "", message, kCheckUpdatePath);
    } else {
      UpdateIndex(body, true);
    }
  }
  LogInfo(kMethod, kTag, "CheckIndexUpdate cost " + std::to_string(Clock::SteadyMillis() - start));
}

}  // namespace Ostrel
