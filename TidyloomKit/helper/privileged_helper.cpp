// The peer requirement text shared by the daemon and its client.
#include "helper/privileged_helper.h"

#include "platform/code_signature.h"

namespace tidyloom {

std::optional<std::string> PrivilegedHelper::ownTeamIdentifier() { return platform::ownTeamIdentifier(); }

std::optional<std::string> PrivilegedHelper::peerRequirement(std::string_view identifier) {
  return peerRequirement(identifier, ownTeamIdentifier());
}

std::optional<std::string> PrivilegedHelper::peerRequirement(std::string_view identifier,
                                                             const std::optional<std::string>& teamIdentifier) {
  if (!teamIdentifier || teamIdentifier->empty()) return std::nullopt;
  // The team identifier goes into the requirement language unquoted by us, so only plain ASCII
  // letters and digits may pass: anything else could change the meaning of the requirement.
  for (const char c : *teamIdentifier) {
    const bool alnum = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
    if (!alnum) return std::nullopt;
  }
  std::string text = "anchor apple generic and identifier ";
  text += '"';
  text += identifier;
  text += '"';
  text += " and certificate leaf[subject.OU] = ";
  text += '"';
  text += *teamIdentifier;
  text += '"';
  return text;
}

}  // namespace tidyloom
