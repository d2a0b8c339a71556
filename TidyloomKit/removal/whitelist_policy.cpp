// Whitelist tables, pattern expansion and fnmatch-based protection.
#include "removal/whitelist_policy.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <string_view>

#include "platform/bulk_reader.h"

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

// The path written plainly: normalised, without trailing "/".
std::string standardised(const std::string& path) {
  std::string text = fs::path(path).lexically_normal().string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

// A pattern without trailing "/" (a lone "/" stays).
std::string withoutTrailingSlash(std::string pattern) {
  while (pattern.size() > 1 && pattern.back() == '/') pattern.pop_back();
  return pattern;
}

// One element of an fnmatch pattern (no flags): "*", "?", a bracket expression, an escaped or a
// plain character. `end` is where the next element starts.
struct GlobElement {
  size_t end = 0;
  bool star = false;
};

GlobElement globElement(std::string_view pattern, size_t at) {
  const char c = pattern[at];
  if (c == '*') return {at + 1, true};
  if (c == '\\' && at + 1 < pattern.size()) return {at + 2, false};
  if (c == '[') {
    size_t j = at + 1;
    if (j < pattern.size() && (pattern[j] == '!' || pattern[j] == '^')) ++j;
    if (j < pattern.size() && pattern[j] == ']') ++j;
    while (j < pattern.size() && pattern[j] != ']') {
      if (pattern[j] == '[' && j + 1 < pattern.size() && pattern[j + 1] == ':') {
        const size_t close = pattern.find(":]", j + 2);
        if (close == std::string_view::npos) break;
        j = close + 2;
      } else {
        ++j;
      }
    }
    if (j < pattern.size()) return {j + 1, false};
  }
  return {at + 1, false};  // an unclosed "[" is a plain character
}

bool classMatches(std::string_view name, unsigned char c) {
  if (name == "alpha") return std::isalpha(c) != 0;
  if (name == "digit") return std::isdigit(c) != 0;
  if (name == "alnum") return std::isalnum(c) != 0;
  if (name == "upper") return std::isupper(c) != 0;
  if (name == "lower") return std::islower(c) != 0;
  if (name == "space") return std::isspace(c) != 0;
  if (name == "punct") return std::ispunct(c) != 0;
  if (name == "xdigit") return std::isxdigit(c) != 0;
  return true;  // an unknown class: assume it may match, which only makes the answer more careful
}

bool elementMatches(std::string_view pattern, size_t at, size_t end, char ch) {
  const auto c = static_cast<unsigned char>(ch);
  const char first = pattern[at];
  if (first == '?') return true;
  if (first == '\\' && end == at + 2) return pattern[at + 1] == ch;
  if (first != '[' || end == at + 1) return first == ch;
  size_t j = at + 1;
  bool negated = false;
  if (pattern[j] == '!' || pattern[j] == '^') {
    negated = true;
    ++j;
  }
  bool found = false;
  const size_t close = end - 1;
  for (bool leading = true; j < close; leading = false) {
    if (pattern[j] == '[' && j + 1 < close && pattern[j + 1] == ':') {
      const size_t stop = pattern.find(":]", j + 2);
      found = found || classMatches(pattern.substr(j + 2, stop - j - 2), c);
      j = stop + 2;
      continue;
    }
    if (pattern[j] == ']' && !leading) break;
    const auto low = static_cast<unsigned char>(pattern[j]);
    if (j + 2 < close && pattern[j + 1] == '-') {
      found = found || (low <= c && c <= static_cast<unsigned char>(pattern[j + 2]));
      j += 3;
    } else {
      found = found || low == c;
      ++j;
    }
  }
  return found != negated;
}

// Whether `pattern` can match some text that starts with `prefix` and goes on past it: the pattern
// run as a set of positions over the prefix's characters.
bool matchesBeyond(std::string_view pattern, std::string_view prefix) {
  const size_t n = pattern.size();
  std::vector<char> states(n + 1, 0);
  std::vector<char> next(n + 1, 0);
  const auto close = [&](std::vector<char>& set) {
    for (size_t i = 0; i < n; ++i) {
      if (set[i] && globElement(pattern, i).star) set[globElement(pattern, i).end] = 1;
    }
  };
  states[0] = 1;
  close(states);
  for (const char ch : prefix) {
    std::fill(next.begin(), next.end(), 0);
    bool any = false;
    for (size_t i = 0; i < n; ++i) {
      if (!states[i]) continue;
      const auto element = globElement(pattern, i);
      if (element.star) {
        next[i] = 1;
        any = true;
      } else if (elementMatches(pattern, i, element.end, ch)) {
        next[element.end] = 1;
        any = true;
      }
    }
    if (!any) return false;
    close(next);
    states.swap(next);
  }
  // Any pattern left over can take at least one more character.
  return std::any_of(states.begin(), states.end() - 1, [](char state) { return state != 0; });
}

// A pattern variant and the spelling of the walked folder it is matched against.
struct LivePattern {
  std::string pattern;
  std::string base;
};

std::vector<LivePattern> livePatterns(const std::string& folder, const CompiledWhitelist& patterns) {
  std::vector<std::string> bases;
  appendUnique(bases, standardised(folder));
  appendUnique(bases, resolved(standardised(folder)));
  std::vector<LivePattern> live;
  for (const auto& variant : patterns.variants()) {
    for (const auto& base : bases) {
      // The root folder is spelt "" so that its children read "/name".
      const std::string spelt = base == "/" ? std::string() : base;
      if (matchesBeyond(variant, spelt + "/")) live.push_back({variant, spelt});
    }
  }
  return live;
}

constexpr int kMaxContentDepth = 256;

// True when an entry below the open `folder` (at `relative` from the walk's start) matches one of
// `live`, or when part of it could not be looked at.
bool walkForProtected(platform::DirectoryReader& folder, const std::string& relative,
                      const std::vector<LivePattern>& live, int depth, const CancellationToken& stop) {
  if (stop.stop_requested() || depth > kMaxContentDepth) return true;
  bool found = false;
  std::vector<std::string> folders;
  auto visit = [&](const platform::BulkEntry& entry) {
    if (found) return;
    const std::string child = relative + "/" + std::string(entry.name);
    for (const auto& item : live) {
      if (::fnmatch(item.pattern.c_str(), (item.base + child).c_str(), 0) == 0) {
        found = true;
        return;
      }
    }
    if (entry.kind == platform::EntryKind::directory) folders.emplace_back(entry.name);
  };
  const bool complete = folder.isOpen() && folder.read({}, visit);
  if (found || !complete) return true;
  for (const auto& name : folders) {
    const std::string child = relative + "/" + name;
    std::vector<LivePattern> still;
    for (const auto& item : live) {
      if (matchesBeyond(item.pattern, item.base + child + "/")) still.push_back(item);
    }
    if (still.empty()) continue;
    platform::DirectoryReader inner(folder, name);
    if (walkForProtected(inner, child, still, depth + 1, stop)) return true;
  }
  return false;
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

CompiledWhitelist::CompiledWhitelist(const std::vector<std::string>& patterns) {
  for (const auto& pattern : patterns) {
    for (auto& variant : WhitelistPolicy::patternVariants(withoutTrailingSlash(pattern))) {
      appendUnique(variants_, std::move(variant));
    }
  }
}

bool WhitelistPolicy::protects(const std::string& path, const CompiledWhitelist& patterns, bool includeDescendants) {
  std::vector<std::string> candidates;
  const std::string standard = standardised(path);
  appendUnique(candidates, standard);
  appendUnique(candidates, resolved(standard));

  for (const auto& variant : patterns.variants()) {
    for (const auto& candidate : candidates) {
      if (::fnmatch(variant.c_str(), candidate.c_str(), 0) == 0) return true;
      if (includeDescendants && candidate.starts_with(variant + "/")) return true;
    }
  }
  return false;
}

bool WhitelistPolicy::mayProtectBelow(const std::string& folder, const CompiledWhitelist& patterns) {
  return !livePatterns(folder, patterns).empty();
}

bool WhitelistPolicy::protectsContentOf(const std::string& folder, const CompiledWhitelist& patterns,
                                        const CancellationToken& stop) {
  const auto live = livePatterns(folder, patterns);
  if (live.empty()) return false;
  platform::DirectoryReader root(standardised(folder));
  // Not a folder (or a link to one): nothing lies below it to protect.
  if (root.error() == ENOTDIR || root.error() == ELOOP || root.error() == ENOENT) return false;
  return walkForProtected(root, "", live, 1, stop);
}

}  // namespace tidyloom
