// ICU-backed numeric-aware collation.
#include "analysis/natural_order.h"

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/stringpiece.h>

namespace tidyloom {

struct NaturalOrder::Collation {
  std::unique_ptr<icu::Collator> collator;
};

NaturalOrder::NaturalOrder() : collation_(std::make_unique<Collation>()) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(icu::Locale::getDefault(), status));
  if (U_FAILURE(status) || !collator) return;
  collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
  if (U_SUCCESS(status)) collation_->collator = std::move(collator);
}

NaturalOrder::~NaturalOrder() = default;

bool NaturalOrder::operator()(std::string_view a, std::string_view b) const {
  const auto& collator = collation_->collator;
  if (!collator) return a < b;
  UErrorCode status = U_ZERO_ERROR;
  const auto order = collator->compareUTF8(icu::StringPiece(a.data(), static_cast<int32_t>(a.size())),
                                           icu::StringPiece(b.data(), static_cast<int32_t>(b.size())), status);
  if (U_FAILURE(status)) return a < b;
  // Names that collate equal (differing only in ignorable characters) still get a fixed order.
  return order == UCOL_EQUAL ? a < b : order == UCOL_LESS;
}

}  // namespace tidyloom
