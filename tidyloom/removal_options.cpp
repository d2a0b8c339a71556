// Engine setup shared by remove, protect and whitelist.
#include "removal_options.h"

#include <filesystem>

#include "l10n/l10n.h"

namespace tidyloom::cli {

RemovalScope parseScope(const std::string& raw) {
  if (const auto scope = removalScopeFromRaw(raw)) return *scope;
  // clang-format off
  throw UsageError{L10n::translate("未知的删除范围：%@（可用：userData、uninstallApp、externalVolume、userSelected）", {raw})};
  // clang-format on
}

std::string absolutePath(const std::string& path) {
  std::error_code ec;
  std::string text = std::filesystem::absolute(path, ec).lexically_normal().string();
  if (ec) text = path;
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

ProtectionLayer protectionFor(const Context& context) {
  const auto& root = context.locations().fixtureRoot;
  return root ? ProtectionLayer::forFixture(*root) : ProtectionLayer();
}

Remover removerFor(const Context& context) {
  Remover remover;
  remover.protection = protectionFor(context);
  remover.cancellation = context.stopToken();
  if (const auto& trash = context.locations().fixtureTrash) {
    remover.trash = folderTrash(*trash);
    remover.finderRoute = {};
    remover.applicationsFolder = (*context.locations().fixtureRoot / "Applications").string();
  }
  return remover;
}

}  // namespace tidyloom::cli
