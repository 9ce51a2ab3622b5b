// The signature of local development: what the signing libraries of this
// folder (libKelsafeProxy.so; KelsafeProxy.dll on Windows) write into
// "o-sign" and what ostrel-server checks. It is an
// HMAC-SHA256 under a key that is written here in the open, so it proves
// nothing about who sent a request; it only lets the whole signed-request path
// run on a developer's machine. Never ship it.
#ifndef OSTREL_TOOLS_DEVSIGN_DEVSIGNATURE_H_
#define OSTREL_TOOLS_DEVSIGN_DEVSIGNATURE_H_

#include <string>

namespace OstrelDev {

// Lowercase hex of HMAC-SHA256(key, appKey "&" text): 64 characters, or empty
// when the digest could not be computed.
std::string DevSign(const std::string& appKey, const std::string& text);

// True when signature is exactly DevSign(appKey, text); compared in constant
// time so that a probing client learns nothing from the answer's timing.
bool DevVerify(const std::string& appKey, const std::string& text, const std::string& signature);

// The text a signed request signs: path, app key, app version, device id and
// timestamp joined by "&", raw (not URL-encoded).
std::string SignedText(const std::string& path, const std::string& appKey,
                       const std::string& appVersion, const std::string& deviceId,
                       const std::string& timestamp);

}  // namespace OstrelDev

#endif  // OSTREL_TOOLS_DEVSIGN_DEVSIGNATURE_H_
