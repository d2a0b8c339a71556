// File kinds from the uniform type identifier registry (CoreServices).
#include <CoreServices/CoreServices.h>

#include <string>

#include "platform/file_kinds.h"

namespace tidyloom::platform {
namespace {

bool conforms(CFStringRef type, const char* identifier) {
  CFStringRef other = CFStringCreateWithCString(nullptr, identifier, kCFStringEncodingUTF8);
  const bool result = UTTypeConformsTo(type, other);
  CFRelease(other);
  return result;
}

}  // namespace

std::optional<TypeConformance> typeConformance(std::string_view lowercaseExtension) {
  const std::string extension(lowercaseExtension);
  CFStringRef tag = CFStringCreateWithCString(nullptr, extension.c_str(), kCFStringEncodingUTF8);
  if (tag == nullptr) return std::nullopt;
  CFStringRef type = UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, tag, kUTTypeData);
  CFRelease(tag);
  if (type == nullptr) return std::nullopt;
  std::optional<TypeConformance> result;
  // The registry makes up a "dyn." identifier for extensions that it does not know.
  if (!UTTypeIsDynamic(type)) {
    result = TypeConformance{
        .archive = conforms(type, "public.archive") || conforms(type, "public.disk-image"),
        .image = conforms(type, "public.image"),
        .audio = conforms(type, "public.audio"),
        .movie = conforms(type, "public.movie") || conforms(type, "public.video") ||
                 conforms(type, "public.audiovisual-content"),
        .document = conforms(type, "com.adobe.pdf") || conforms(type, "public.presentation") ||
                    conforms(type, "public.spreadsheet") || conforms(type, "org.idpf.epub-container") ||
                    conforms(type, "public.rtf"),
    };
  }
  CFRelease(type);
  return result;
}

}  // namespace tidyloom::platform
