// Thin wrapper over ICU regular expressions (the syntax the rule file is written in).
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace tidyloom {

class IcuRegex {
 public:
  // Compiles `pattern` with no options; an empty optional-like result when it does not compile.
  static std::unique_ptr<IcuRegex> compile(std::string_view pattern);
  ~IcuRegex();

  // The expression is found somewhere in `text` (unanchored search).
  bool search(std::string_view text) const;
  // The expression matches the whole of `text`.
  bool matchesWhole(std::string_view text) const;

  // `text` with every regular-expression metacharacter escaped, so it matches itself literally.
  static std::string escape(std::string_view text);

 private:
  struct Impl;
  explicit IcuRegex(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

// Unicode-aware lower-casing (for case-insensitive comparisons of paths and names).
std::string lowercased(std::string_view text);

}  // namespace tidyloom
