// Context: locations, output channels, confirmation and the Ctrl-C token.
#include "context.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <iostream>

#include "interrupt.h"
#include "l10n/l10n.h"
#include "output.h"

namespace tidyloom::cli {

const Locations& Context::locations() const {
  if (!locations_) {
    locations_ = fixtureMode() ? Locations::fixture(std::filesystem::absolute(options.fixture).lexically_normal())
                               : Locations::live();
  }
  return *locations_;
}

std::stop_token Context::stopToken() const { return interruptToken(); }

ProgressLine& Context::progress() {
  if (!progress_) progress_.emplace(!options.noProgress && ::isatty(STDERR_FILENO) == 1);
  return *progress_;
}

void Context::printJson(const nlohmann::json& document) const {
  if (progress_) const_cast<ProgressLine&>(*progress_).clear();
  std::cout << document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n' << std::flush;
}

void Context::printJsonLine(const nlohmann::json& document) const {
  if (progress_) const_cast<ProgressLine&>(*progress_).clear();
  std::cout << document.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n' << std::flush;
}

void Context::note(const std::string& message) const {
  if (progress_) const_cast<ProgressLine&>(*progress_).clear();
  std::cerr << message << '\n';
}

void Context::warn(const std::string& message) const {
  note(paint(L10n::translate("警告：%@", {message}), Colour::yellow));
}

void Context::error(const std::string& message) const { note("tidyloom: " + message); }

void Context::requireInsideFixture(const std::filesystem::path& path) const {
  if (!fixtureMode()) return;
  std::error_code error;
  const std::string fixture = std::filesystem::weakly_canonical(*locations().fixtureRoot, error).string();
  const std::string text = std::filesystem::weakly_canonical(std::filesystem::absolute(path), error).string();
  if (text != fixture && !text.starts_with(fixture + "/")) {
    throw UsageError{L10n::translate("测试模式下只能搜索测试文件夹里的路径：%@", {printablePath(text)})};
  }
}

CLI::Validator positiveNumber() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        double value = 0;
        if (CLI::detail::lexical_cast(text, value) && value > 0 && std::isfinite(value)) return {};
        return L10n::translate("必须是正数：%@", {text});
      },
      "POSITIVE");
}

bool Context::confirm(const std::string& question) const {
  std::cerr << question << " " << L10n::translate("[y/N]") << " " << std::flush;
  std::string answer;
  if (!std::getline(std::cin, answer)) {
    std::cerr << '\n';
    return false;
  }
  return answer == "y" || answer == "Y" || answer == "yes" || answer == "YES" || answer == "是";
}

}  // namespace tidyloom::cli
