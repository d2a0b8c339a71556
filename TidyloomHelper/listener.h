// The daemon's listener: takes connections from the platform's transport and hands them to the service.
#pragma once

#include "helper/helper_service.h"

namespace tidyloom::helper {

// Starts accepting requests on background threads. Ends the process with status 1 when there is
// nothing to listen on (the service manager did not start us).
// Each connection counts in `activity` from accept to close, so an idle exit never drops one.
void startListener(const PrivilegedHelperService& service, const PrivilegedHelperActivityRef& activity);

// Hands the main thread over for good; the process ends through the idle exit or a signal.
[[noreturn]] void parkMainThread();

}  // namespace tidyloom::helper
