// The platform's type registry, asked what a file-name extension's type conforms to.
#pragma once

#include <optional>
#include <string_view>

namespace tidyloom::platform {

// The conformances a file type has in the platform's registry (macOS uniform type identifiers,
// the shared-mime-info database elsewhere). Only the families the file-kind grouping asks about.
struct TypeConformance {
  bool archive = false;  // an archive or a disk image
  bool image = false;
  bool audio = false;
  bool movie = false;     // movie, video or audiovisual content
  bool document = false;  // PDF, presentation, spreadsheet, EPUB or RTF
};

// The conformances of the type registered for `lowercaseExtension` (no leading dot), or nullopt
// when the registry knows no data type for it. The registry is read once per process; safe from
// any thread.
std::optional<TypeConformance> typeConformance(std::string_view lowercaseExtension);

}  // namespace tidyloom::platform
