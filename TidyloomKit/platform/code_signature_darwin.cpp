// The team identifier of this process's own signature, read through the Security framework.
#include "platform/code_signature.h"

#include <Security/Security.h>

namespace tidyloom::platform {

std::optional<std::string> ownTeamIdentifier() {
  SecCodeRef code = nullptr;
  if (SecCodeCopySelf(kSecCSDefaultFlags, &code) != errSecSuccess || !code) return std::nullopt;
  SecStaticCodeRef staticCode = nullptr;
  const OSStatus copied = SecCodeCopyStaticCode(code, kSecCSDefaultFlags, &staticCode);
  CFRelease(code);
  if (copied != errSecSuccess || !staticCode) return std::nullopt;
  CFDictionaryRef info = nullptr;
  const OSStatus read = SecCodeCopySigningInformation(staticCode, kSecCSSigningInformation, &info);
  CFRelease(staticCode);
  if (read != errSecSuccess || !info) return std::nullopt;
  std::optional<std::string> team;
  const void* value = CFDictionaryGetValue(info, kSecCodeInfoTeamIdentifier);
  if (value && CFGetTypeID(value) == CFStringGetTypeID()) {
    char buffer[256];
    if (CFStringGetCString(static_cast<CFStringRef>(value), buffer, sizeof buffer, kCFStringEncodingUTF8)) {
      team = buffer;
    }
  }
  CFRelease(info);
  return team;
}

}  // namespace tidyloom::platform
