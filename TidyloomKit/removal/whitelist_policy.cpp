// Whitelist tables, pattern expansion and fnmatch-based protection.
#include "removal/whitelist_policy.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

namespace tidyloom {
namespace fs = std::filesystem;
namespace {

constexpr std::array<std::string_view, 13> kDefaults{
    "Library/Caches/ms-playwright*",
    ".gradle/caches/*",
    ".gradle/daemon/*",
    ".ollama/models/*",
    "Library/Caches/com.nssurge.surge-mac/*",
    "Library/Application Support/com.nssurge.surge-mac/*",
    "Library/Caches/org.R-project.R/R/renv/*",
    "Library/Caches/JetBrains*",
    "Library/Caches/com.jetbrains.toolbox*",
    "Library/Caches/tealdeer/tldr-pages",
    "Library/Application Support/JetBrains*",
    "Library/Caches/com.apple.finder",
    "Library/Mobile Documents*",
};
constexpr std::array<std::string_view, 8> kSafety{
    "Library/Caches/com.apple.FontRegistry*",
    "Library/Caches/com.apple.spotlight*",
    "Library/Caches/com.apple.Spotlight*",
    "Library/Caches/CloudKit*",
    "Library/Caches/kitty",
    "Library/Caches/pypoetry/virtualenvs*",
    "Library/Caches/org.R-project.R/R/renv/*",
    ".jupyter/runtime",
};

template <size_t N>
std::vector<std::string> joined(const std::array<std::string_view, N>& table, const std::string& home) {
  std::vector<std::string> out;
  out.reserve(N);
  for (const auto pattern : table) out.push_back((fs::path(home) / pattern).string());
  return out;
}

void appendUnique(std::vector<std::string>& list, std::string item) {
  if (std::find(list.begin(), list.end(), item) == list.end()) list.push_back(std::move(item));
}

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
}

std::string trimmed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\r\n\v\f";
  const size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(kSpace) - first + 1));
}

std::string resolved(const std::string& path) {
  std::error_code ec;
  const fs::path out = fs::weakly_canonical(path, ec);
  if (ec) return path;
  std::string text = out.string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

}  // namespace

std::vector<std::string> WhitelistPolicy::defaults(const std::string& home) { return joined(kDefaults, home); }

std::vector<std::string> WhitelistPolicy::safety(const std::string& home) { return joined(kSafety, home); }

std::vector<std::string> WhitelistPolicy::expand(const std::vector<std::string>& patterns, const std::string& home) {
  std::vector<std::string> out;
  for (const auto& raw : patterns) {
    std::string pattern = trimmed(raw);
    if (pattern.empty() || pattern.starts_with('#')) continue;
    replaceAll(pattern, "${HOME}", home);
    replaceAll(pattern, "$HOME", home);
    if (pattern.starts_with('~')) pattern.replace(0, 1, home);
    appendUnique(out, std::move(pattern));
  }
  return out;
}

std::vector<std::string> WhitelistPolicy::patternVariants(const std::string& pattern) {
  std::vector<std::string> out{pattern};
  const size_t wildcard = pattern.find_first_of("*?[");
  std::string directory = pattern;
  std::string rest;
  if (wildcard != std::string::npos) {
    const size_t slash = pattern.rfind('/', wildcard);
    if (slash == std::string::npos) return out;
    directory = pattern.substr(0, slash);
    rest = pattern.substr(slash + 1);
  }
  if (directory.empty()) return out;
  const std::string real = resolved(directory);
  if (real != directory) appendUnique(out, wildcard == std::string::npos ? real : real + "/" + rest);
  return out;
}

bool WhitelistPolicy::protects(const std::string& path, const std::vector<std::string>& patterns,
                               bool includeDescendants) {
  std::vector<std::string> candidates;
  std::string standard = fs::path(path).lexically_normal().string();
  while (standard.size() > 1 && standard.back() == '/') standard.pop_back();
  appendUnique(candidates, standard);
  appendUnique(candidates, resolved(standard));

  for (std::string pattern : patterns) {
    while (pattern.size() > 1 && pattern.back() == '/') pattern.pop_back();
    for (const auto& variant : patternVariants(pattern)) {
      for (const auto& candidate : candidates) {
        if (::fnmatch(variant.c_str(), candidate.c_str(), 0) == 0) return true;
        if (includeDescendants && candidate.starts_with(variant + "/")) return true;
      }
    }
  }
  return false;
}

}  // namespace tidyloom
