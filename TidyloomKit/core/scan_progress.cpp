// Cancellation check shared by every engine.
#include "core/scan_progress.h"

#include "core/engine_error.h"

namespace tidyloom {

void throwIfCancelled(const CancellationToken& token) {
  if (token.stop_requested()) throw EngineError::cancelled();
}

}  // namespace tidyloom
