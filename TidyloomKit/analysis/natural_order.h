// Name ordering as the platform's file browser shows it: localised and numeric-aware (file9
// before file10), through ICU collation.
#pragma once

#include <memory>
#include <string_view>

namespace tidyloom {

class NaturalOrder {
 public:
  // Collation of the process's default locale, with numeric ordering of digit runs.
  NaturalOrder();
  ~NaturalOrder();
  NaturalOrder(const NaturalOrder&) = delete;
  NaturalOrder& operator=(const NaturalOrder&) = delete;

  // True when `a` sorts before `b`. Falls back to byte order when ICU has no collator.
  bool operator()(std::string_view a, std::string_view b) const;

 private:
  struct Collation;
  std::unique_ptr<Collation> collation_;
};

}  // namespace tidyloom
