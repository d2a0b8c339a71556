// Bands, titles and raw values of large-file items.
#include "analysis/large_file_item.h"

#include "l10n/l10n.h"

namespace tidyloom {

std::string_view rawValue(LargeFileKind kind) {
  switch (kind) {
    case LargeFileKind::archive:
      return "archive";
    case LargeFileKind::image:
      return "image";
    case LargeFileKind::movie:
      return "movie";
    case LargeFileKind::music:
      return "music";
    case LargeFileKind::document:
      return "document";
    case LargeFileKind::other:
      break;
  }
  return "other";
}

std::string_view rawValue(LargeFileSizeBand band) { return band == LargeFileSizeBand::huge ? "huge" : "large"; }

std::string_view rawValue(LargeFileAgeBand band) {
  switch (band) {
    case LargeFileAgeBand::overYear:
      return "overYear";
    case LargeFileAgeBand::overMonth:
      return "overMonth";
    case LargeFileAgeBand::overWeek:
      return "overWeek";
    case LargeFileAgeBand::recent:
      break;
  }
  return "recent";
}

std::string title(LargeFileKind kind) {
  switch (kind) {
    case LargeFileKind::archive:
      return L10n::translate("存档");
    case LargeFileKind::image:
      return L10n::translate("图片");
    case LargeFileKind::movie:
      return L10n::translate("影片");
    case LargeFileKind::music:
      return L10n::translate("音乐");
    case LargeFileKind::document:
      return L10n::translate("文稿");
    case LargeFileKind::other:
      break;
  }
  return L10n::translate("其他");
}

std::string title(LargeFileSizeBand band) {
  return band == LargeFileSizeBand::huge ? L10n::translate("巨大") : L10n::translate("较大");
}

std::string title(LargeFileAgeBand band) {
  switch (band) {
    case LargeFileAgeBand::overYear:
      return L10n::translate("一年前");
    case LargeFileAgeBand::overMonth:
      return L10n::translate("一个月前");
    case LargeFileAgeBand::overWeek:
      return L10n::translate("一周前");
    case LargeFileAgeBand::recent:
      break;
  }
  return L10n::translate("最近一周");
}

std::string LargeFileItem::name() const {
  const size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

LargeFileAgeBand LargeFileItem::ageBand(FileTime now) const {
  using namespace std::chrono;
  // Whole and fractional days both count: 29.9 days is not yet a month.
  const double days = duration<double>(now - lastUsed).count() / 86400.0;
  if (days >= 365) return LargeFileAgeBand::overYear;
  if (days >= 30) return LargeFileAgeBand::overMonth;
  if (days >= 7) return LargeFileAgeBand::overWeek;
  return LargeFileAgeBand::recent;
}

FileTime lastUsedDate(std::optional<FileTime> accessed, std::optional<FileTime> modified) {
  return std::max(accessed.value_or(kDistantPast), modified.value_or(kDistantPast));
}

}  // namespace tidyloom
