// EngineError's localised cancellation message.
#include "core/engine_error.h"

#include "l10n/l10n.h"

namespace tidyloom {

EngineError EngineError::cancelled() { return {Kind::cancelled, L10n::translate("操作已取消")}; }

}  // namespace tidyloom
