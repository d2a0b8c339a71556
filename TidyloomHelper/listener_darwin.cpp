// The macOS listener: the XPC Mach service, each connection pinned to the signed application.
#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <cstdlib>

#include "helper/privileged_helper.h"
#include "listener.h"

namespace tidyloom::helper {
namespace {

HelperRequest requestFrom(xpc_object_t message) {
  const char* selector = xpc_dictionary_get_string(message, "selector");
  if (selector && kRemoveSelector == selector) {
    RemoveSystemPathsRequest request;
    if (xpc_object_t paths = xpc_dictionary_get_value(message, "paths")) {
      for (size_t i = 0; i < xpc_array_get_count(paths); ++i) {
        if (const char* path = xpc_array_get_string(paths, i)) request.paths.emplace_back(path);
      }
    }
    if (const char* language = xpc_dictionary_get_string(message, "language")) request.language = language;
    return request;
  }
  return ScanSystemRequest{xpc_dictionary_get_bool(message, "includesRebuildableCaches")};
}

}  // namespace

void startListener(const PrivilegedHelperService& service, const PrivilegedHelperActivityRef&) {
  static xpc_connection_t listener = xpc_connection_create_mach_service(std::string(PrivilegedHelper::label).c_str(),
                                                                        nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER);
  xpc_connection_set_event_handler(listener, ^(xpc_object_t peer) {
    if (xpc_get_type(peer) != XPC_TYPE_CONNECTION) return;
    const auto requirement = PrivilegedHelper::peerRequirement(PrivilegedHelper::clientIdentifier);
    if (!requirement) {
      xpc_connection_cancel(peer);
      return;
    }
    xpc_connection_set_peer_code_signing_requirement(peer, requirement->c_str());
    xpc_connection_set_event_handler(peer, ^(xpc_object_t message) {
      if (xpc_get_type(message) != XPC_TYPE_DICTIONARY) return;
      const HelperReply reply = service.handle(requestFrom(message));
      xpc_object_t answer = xpc_dictionary_create_reply(message);
      if (reply.bytes) xpc_dictionary_set_data(answer, "data", reply.bytes->data(), reply.bytes->size());
      if (reply.message) xpc_dictionary_set_string(answer, "message", reply.message->c_str());
      xpc_connection_send_message(peer, answer);
      xpc_release(answer);
    });
    xpc_connection_resume(peer);
  });
  xpc_connection_resume(listener);
}

void parkMainThread() { dispatch_main(); }

}  // namespace tidyloom::helper
