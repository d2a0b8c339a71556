// tidyloom whitelist [show [--stored] | add P | remove P | check PATH...]: the user's whitelist.
#include <algorithm>
#include <iostream>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "l10n/l10n.h"
#include "output.h"
#include "removal/whitelist_policy.h"
#include "removal/whitelist_store.h"
#include "removal_options.h"

namespace tidyloom::cli {
namespace {

struct WhitelistOptions {
  CLI::App* show = nullptr;
  CLI::App* add = nullptr;
  CLI::App* remove = nullptr;
  CLI::App* check = nullptr;
  bool stored = false;
  std::string pattern;
  std::vector<std::string> paths;
};

std::string home(const Context& context) { return context.locations().roots.home.string(); }

// Patterns that name a place relative to the working directory are stored absolute; "~", "$HOME"
// and absolute patterns are kept as written (expanded when the whitelist is applied).
std::string storedForm(const std::string& pattern) {
  if (pattern.empty() || pattern.starts_with('/') || pattern.starts_with('~') || pattern.starts_with('$')) {
    return pattern;
  }
  return absolutePath(pattern);
}

void printPatterns(const Context& context, const std::vector<std::string>& patterns) {
  if (context.json()) {
    context.printJson(patterns);
    return;
  }
  for (const auto& pattern : patterns) std::cout << printablePath(pattern) << '\n';
  std::cout << std::flush;
}

// The stored entries; without a file yet, the defaults that are in force, so that adding or
// removing one pattern does not silently drop the others.
std::vector<std::string> editableEntries(const WhitelistStore& store) {
  std::error_code ec;
  if (std::filesystem::exists(store.fileURL, ec)) return store.load();
  // Stored as "~/..." so the file stays readable and follows the home folder.
  return WhitelistPolicy::defaults("~");
}

int add(Context& context, const WhitelistStore& store, const std::string& pattern) {
  auto entries = editableEntries(store);
  const std::string entry = storedForm(pattern);
  if (std::find(entries.begin(), entries.end(), entry) != entries.end()) {
    context.note(L10n::translate("白名单中已有：%@", {printablePath(entry)}));
  } else {
    entries.push_back(entry);
    store.save(entries);
    context.note(L10n::translate("已加入白名单：%@", {printablePath(entry)}));
  }
  printPatterns(context, entries);
  return kExitOk;
}

int remove(Context& context, const WhitelistStore& store, const std::string& pattern) {
  auto entries = editableEntries(store);
  // "~/x", "$HOME/x" and the absolute spelling name the same entry.
  const auto expanded = [&](const std::string& text) { return WhitelistPolicy::expand({text}, home(context)); };
  const auto wanted = expanded(storedForm(pattern));
  auto it = std::find_if(entries.begin(), entries.end(), [&](const std::string& entry) {
    return entry == pattern || (!wanted.empty() && expanded(entry) == wanted);
  });
  if (it == entries.end()) {
    context.error(L10n::translate("白名单中没有：%@", {printablePath(pattern)}));
    return kExitFailure;
  }
  context.note(L10n::translate("已从白名单移除：%@", {printablePath(*it)}));
  entries.erase(it);
  store.save(entries);
  printPatterns(context, entries);
  return kExitOk;
}

int check(Context& context, const WhitelistStore& store, const std::vector<std::string>& paths) {
  const auto patterns = store.effectivePatterns(home(context));
  nlohmann::json rows = nlohmann::json::array();
  Table table({L10n::translate("位置"), L10n::translate("判定")});
  for (const auto& given : paths) {
    const std::string path = absolutePath(given);
    const bool protectedPath = WhitelistPolicy::protects(path, patterns, true);
    rows.push_back({{"path", path}, {"protected", protectedPath}});
    table.add({printablePath(path), protectedPath ? paint(L10n::translate("受白名单保护"), Colour::green)
                                                  : L10n::translate("不在白名单中")});
  }
  if (context.json()) {
    context.printJson(rows);
  } else {
    std::cout << table.render() << std::flush;
  }
  return kExitOk;
}

}  // namespace

Handler setupWhitelist(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<WhitelistOptions>();
  options->show = command.add_subcommand("show", "Print the patterns in force (default)");
  options->show->add_flag("--stored", options->stored, "Print the whitelist file's own entries");
  options->add = command.add_subcommand("add", "Add a pattern to the whitelist");
  options->add->add_option("PATTERN", options->pattern, "Path or fnmatch pattern")->required();
  options->remove = command.add_subcommand("remove", "Remove a pattern from the whitelist");
  options->remove->add_option("PATTERN", options->pattern, "The entry to remove")->required();
  options->check = command.add_subcommand("check", "Say whether paths are protected by the whitelist");
  options->check->add_option("PATH", options->paths, "Paths to check")->required();
  command.require_subcommand(0, 1);
  for (auto* sub : {options->show, options->add, options->remove, options->check}) sub->fallthrough();

  return [options](Context& context) {
    const WhitelistStore store = WhitelistStore::inFolder(context.locations().applicationSupport);
    if (options->add->parsed()) return add(context, store, options->pattern);
    if (options->remove->parsed()) return remove(context, store, options->pattern);
    if (options->check->parsed()) return check(context, store, options->paths);
    printPatterns(context, options->stored ? store.load() : store.effectivePatterns(home(context)));
    return kExitOk;
  };
}

}  // namespace tidyloom::cli
