// Attachments the mail application saved for viewing; the messages keep the originals.
//
// Reads QUILL_MAIL_AGE_DAYS (days an item must be left untouched, default 30) and
// QUILL_MAIL_DOWNLOADS_MIN_KB (smallest item offered, default 0) in fromEnvironment().
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "clean/clean_source.h"

namespace tidyloom {

class MailDownloadsScanner : public CleanSource {
 public:
  MailDownloadsScanner(std::filesystem::path home, std::vector<std::string> relativeRoots, std::int64_t ageDays = 30,
                       std::uint64_t minimumBytes = 0)
      : home_(std::move(home)), roots_(std::move(relativeRoots)), ageDays_(ageDays), minimumBytes_(minimumBytes) {}
  static MailDownloadsScanner fromEnvironment(std::filesystem::path home, std::vector<std::string> relativeRoots);

  std::string_view phaseLabel() const override {
    return "Library/Containers/com.apple.mail/Data/Library/Mail Downloads";
  }
  SourceFindings scan(const SourceScanContext& context) const override;
  bool manages(const std::string& path) const override;
  void assertRemovableNow(const std::string& path) const override;

 private:
  const std::string* rootOf(const std::filesystem::path& path) const;
  bool oldEnough(const std::filesystem::path& path) const;

  std::filesystem::path home_;
  std::vector<std::string> roots_;
  std::int64_t ageDays_;
  std::uint64_t minimumBytes_;
};

}  // namespace tidyloom
