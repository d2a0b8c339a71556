// CleanTargetsStore: finds, decodes and validates the rule file "clean_targets.json".
#pragma once

#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "clean/scan_rule_config.h"

namespace tidyloom {

// The two rule files that ship: the macOS one (also used for fixture trees, which are shaped like
// macOS) and the Linux one.
enum class RulePlatform { macOS, linuxDesktop };

class CleanTargetsStore {
 public:
  // A rule or path of the file that breaks the rules; the message is localised.
  class LoadError : public std::exception {
   public:
    enum class Kind {
      unknownSection,
      emptyRule,
      invalidRelativePath,
      invalidAbsolutePath,
      unknownFamily,
      invalidEntry,
      missingFile,
      emptyDocument,
    };
    LoadError(Kind kind, std::string payload = {});
    Kind kind() const noexcept { return kind_; }
    const std::string& payload() const noexcept { return payload_; }
    const std::string& message() const noexcept { return message_; }
    const char* what() const noexcept override { return message_.c_str(); }
    bool operator==(const LoadError& other) const { return kind_ == other.kind_ && payload_ == other.payload_; }

   private:
    Kind kind_;
    std::string payload_;
    std::string message_;
  };

  // The file is not JSON, or a key is missing or has the wrong type; the message is localised and
  // names the key (for example "rules[2].id").
  class DecodingError : public std::exception {
   public:
    explicit DecodingError(std::string message) : message_(std::move(message)) {}
    const std::string& message() const noexcept { return message_; }
    const char* what() const noexcept override { return message_.c_str(); }

   private:
    std::string message_;
  };

  // A rule object as written in the file, before validation.
  struct Rule {
    std::string id;
    std::vector<std::string> relativePaths;
    std::vector<std::string> relativePathPatterns;
    std::vector<std::string> absolutePaths;
    std::optional<bool> recursiveContents;
  };

  // The file to read; without one the installed resource for `platform`, else the copy built
  // into the program.
  std::optional<std::filesystem::path> fileURL;
  RulePlatform platform = hostPlatform();

  // Reads and decodes the file. Throws LoadError (missingFile when it cannot be read),
  // DecodingError, or the LoadError of the first rule that breaks validation.
  ScanRuleConfig load() const;

  static RulePlatform hostPlatform();
  // The installed rule file of this platform, when the installation holds one.
  static std::optional<std::filesystem::path> defaultFileURL();
  static std::optional<std::filesystem::path> defaultFileURL(RulePlatform platform);
  // The rule file built into the program; empty when there is none.
  static std::string_view embeddedRules(RulePlatform platform);
  static std::string_view resourceName(RulePlatform platform);

  // All-or-nothing: the first failure is thrown and no partial configuration is returned.
  static ScanRuleConfig decode(std::string_view data);
  static SectionRule sectionRule(const Rule& rule);
  static bool validRelativePath(std::string_view path);
  static bool validAbsolutePath(std::string_view path);
};

using LoadError = CleanTargetsStore::LoadError;

}  // namespace tidyloom
