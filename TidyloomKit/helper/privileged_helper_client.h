// PrivilegedHelperClient: the front end's side of the root daemon; one fresh connection per call.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "helper/helper_link.h"
#include "helper/system_clean_helping.h"
#include "platform/helper_host.h"

namespace tidyloom {

class PrivilegedHelperClient : public SystemCleanHelping {
 public:
  static constexpr std::chrono::seconds kScanTimeout{300};
  static constexpr std::chrono::seconds kRemoveTimeout{600};

  // `requirement` is what the daemon must satisfy: a code-signing requirement where peers are
  // signed, "uid 0" where the daemon is pinned to root by its socket credentials.
  PrivilegedHelperClient(std::string requirement, HelperLinkFactory links);

  // A client when this build may use the daemon and the daemon is registered; nothing otherwise
  // (the engines then run without system cleaning).
  static std::unique_ptr<PrivilegedHelperClient> liveIfEnabled();
  static std::unique_ptr<PrivilegedHelperClient> liveIfEnabled(const platform::HelperHostFacts& facts);

  std::vector<CleanupCandidate> scanSystem(bool includesRebuildableCaches) override;
  // Sends the current display language so the daemon's reasons come back in it.
  RunReport removeSystemPaths(const std::vector<std::string>& paths, const CancellationToken& stop) override;

  // One request and its reply bytes, waiting at most `timeout`. Throws EngineError::io.
  // `stop`, once requested, half-closes the link; the reply is still awaited.
  std::string call(std::chrono::milliseconds timeout, const HelperRequest& request,
                   const CancellationToken& stop = {}) const;

  const std::string& requirement() const { return requirement_; }

 private:
  std::string requirement_;
  HelperLinkFactory links_;
};

}  // namespace tidyloom
