// The daemon's admission rules: root and the administrators' group, bounded per user and in total.
#include "helper/connection_gate.h"

#include <algorithm>
#include <sstream>
#include <vector>

#include "l10n/l10n.h"

namespace tidyloom {

ConnectionGate::ConnectionGate(std::optional<gid_t> administrators, Limits limits, Log log, Clock clock)
    : administrators_(administrators), limits_(limits), log_(std::move(log)), clock_(std::move(clock)) {}

std::optional<gid_t> ConnectionGate::administratorsGroup(const std::string& names) {
  std::istringstream words(names.empty() ? std::string("sudo admin wheel") : names);
  std::vector<std::string> list;
  for (std::string word; words >> word;) list.push_back(word);
  return platform::firstExistingGroup(list);
}

bool ConnectionGate::isAdministrator(const platform::PeerCredentials& peer) const {
  if (peer.uid == 0) return true;
  if (!administrators_) return false;
  return peer.gid == *administrators_ ||
         std::find(peer.groups.begin(), peer.groups.end(), *administrators_) != peer.groups.end();
}

bool ConnectionGate::admit(const platform::PeerCredentials& peer) {
  const std::string uid = std::to_string(peer.uid);
  if (!isAdministrator(peer)) {
    log(L10n::translate("拒绝连接：用户 %@ 不是管理员", {uid}));
    return false;
  }
  {
    const std::lock_guard guard(lock_);
    // Root is bounded only by the total, so that a root front end always finds a place.
    const bool userFull = peer.uid != 0 && perUser_[peer.uid] >= limits_.perUser;
    if (!userFull && total_ < limits_.total) {
      ++perUser_[peer.uid];
      ++total_;
      return true;
    }
  }
  log(L10n::translate("拒绝连接：用户 %@ 的连接过多", {uid}));
  return false;
}

void ConnectionGate::release(uid_t uid) {
  const std::lock_guard guard(lock_);
  if (auto found = perUser_.find(uid); found != perUser_.end() && found->second > 0) {
    if (--found->second == 0) perUser_.erase(found);
  }
  if (total_ > 0) --total_;
}

void ConnectionGate::log(const std::string& line) {
  std::string summary;
  {
    const std::lock_guard guard(lock_);
    const auto now = clock_();
    if (now - windowStart_ >= std::chrono::minutes(1)) {
      if (suppressed_ > 0) summary = L10n::translate("另有 %@ 次拒绝未记录", {std::to_string(suppressed_)});
      windowStart_ = now;
      loggedInWindow_ = 0;
      suppressed_ = 0;
    }
    if (loggedInWindow_ >= limits_.logLines) {
      ++suppressed_;
      return;
    }
    ++loggedInWindow_;
  }
  if (!log_) return;
  if (!summary.empty()) log_(summary);
  log_(line);
}

}  // namespace tidyloom
