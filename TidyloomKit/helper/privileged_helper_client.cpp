// The client call: fresh link, reply box, deadline, first answer wins.
#include "helper/privileged_helper_client.h"

#include "core/engine_error.h"
#include "helper/privileged_helper.h"
#include "helper/reply_box.h"
#include "l10n/l10n.h"

namespace tidyloom {

PrivilegedHelperClient::PrivilegedHelperClient(std::string requirement, HelperLinkFactory links)
    : requirement_(std::move(requirement)), links_(std::move(links)) {}

std::unique_ptr<PrivilegedHelperClient> PrivilegedHelperClient::liveIfEnabled() {
  return liveIfEnabled(platform::helperHostFacts(PrivilegedHelper::clientIdentifier, PrivilegedHelper::label));
}

std::unique_ptr<PrivilegedHelperClient> PrivilegedHelperClient::liveIfEnabled(const platform::HelperHostFacts& facts) {
  if (facts.bundleIdentifier != PrivilegedHelper::clientIdentifier) return nullptr;
  if (facts.registration != platform::HelperRegistrationStatus::enabled) return nullptr;
  const auto requirement = facts.signedPeers ? PrivilegedHelper::peerRequirement(PrivilegedHelper::label)
                                             : std::optional<std::string>("uid 0");
  if (!requirement) return nullptr;
  return std::make_unique<PrivilegedHelperClient>(
      *requirement, [endpoint = facts.endpoint] { return makeSocketHelperLink(endpoint); });
}

std::string PrivilegedHelperClient::call(std::chrono::milliseconds timeout, const HelperRequest& request,
                                         const CancellationToken& stop) const {
  const auto link = links_();
  // Shared with the link's handlers, which may still fire after this call has given up.
  const auto box = std::make_shared<ReplyBox>();
  const bool sent = link && link->send(
                                request,
                                [box](std::optional<std::string> bytes, std::optional<std::string> message) {
                                  if (!bytes && !message) message = L10n::translate("系统权限助手返回无效数据");
                                  box->finish(std::move(bytes), std::move(message));
                                },
                                [box](std::string message) { box->finish(std::nullopt, std::move(message)); });
  if (!sent) {
    if (link) link->invalidate();
    throw EngineError::io(L10n::translate("无法连接系统权限助手"));
  }
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  // A stop is passed on once (looked at every 100 ms); the answer is still awaited.
  while (!stop.stop_requested() && std::chrono::steady_clock::now() < deadline) {
    if (box->waitUntil(std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(100)))) break;
  }
  if (stop.stop_requested()) link->finishEarly();
  const auto outcome = box->wait(deadline);
  link->invalidate();
  if (const auto* data = std::get_if<ReplyBox::Data>(&outcome)) return data->bytes;
  if (const auto* failure = std::get_if<ReplyBox::Failure>(&outcome)) {
    throw EngineError::io(L10n::translate("系统权限助手失败：%@", {failure->message}));
  }
  throw EngineError::io(L10n::translate("系统权限助手无响应"));
}

std::vector<CleanupCandidate> PrivilegedHelperClient::scanSystem(bool includesRebuildableCaches) {
  const auto bytes = call(kScanTimeout, ScanSystemRequest{includesRebuildableCaches});
  std::vector<CleanupCandidate> candidates;
  for (auto& row : decodeCandidates(bytes)) {
    candidates.push_back({std::move(row.path), std::move(row.section), row.byteSize, true});
  }
  return candidates;
}

RunReport PrivilegedHelperClient::removeSystemPaths(const std::vector<std::string>& paths,
                                                    const CancellationToken& stop) {
  const auto language = std::string(rawValue(L10n::currentLanguage()));
  RunReport report;
  // The daemon takes a bounded request; a longer list goes as several, whose reports are merged.
  for (size_t start = 0; start < paths.size();) {
    RemoveSystemPathsRequest request{{}, language};
    size_t bytes = 0;
    for (; start < paths.size() && request.paths.size() < FrameLimits::kMaxPaths; ++start) {
      // JSON escaping can make a path up to six times longer; stay well inside the frame limit.
      const size_t cost = paths[start].size() * 6 + 8;
      if (!request.paths.empty() && bytes + cost > FrameLimits::kMaxRequestBytes / 2) break;
      bytes += cost;
      request.paths.push_back(paths[start]);
    }
    if (stop.stop_requested()) {
      report.interrupted = true;
      break;
    }
    auto removal = decodeRemoval(call(kRemoveTimeout, request, stop));
    report.removed.insert(report.removed.end(), removal.removed.begin(), removal.removed.end());
    // Paths the daemon never started on after a stop were not handled at all.
    const std::string notStarted = L10n::translate(kNotStartedReason);
    for (auto& failure : removal.failed) {
      if (stop.stop_requested() && failure.reason == notStarted) {
        report.interrupted = true;
        continue;
      }
      report.failed.push_back({std::move(failure.path), std::move(failure.reason)});
    }
    report.freedBytes += removal.freedBytes;
  }
  report.interrupted = report.interrupted || stop.stop_requested();
  return report;
}

}  // namespace tidyloom
