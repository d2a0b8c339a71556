// ProgressLine drawing.
#include "progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "output.h"

namespace tidyloom::cli {

void ProgressLine::update(const std::string& label, std::optional<std::uint64_t> count, std::optional<double> fraction,
                          const std::string& path) {
  if (!enabled_) return;
  std::lock_guard lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  if (drawn_ && now - last_ < std::chrono::milliseconds(80)) return;
  last_ = now;
  winsize ws{};
  const int width = (::ioctl(STDERR_FILENO, TIOCGWINSZ, &ws) == 0 && ws.ws_col > 20) ? ws.ws_col : 80;
  static constexpr const char* kSpinner[] = {"⠋", "⠙", "⠹", "⠸", "⠼", "⠴", "⠦", "⠧", "⠇", "⠏"};
  std::string line;
  if (fraction) {
    const double f = std::clamp(*fraction, 0.0, 1.0);
    const int filled = static_cast<int>(f * 20);
    line = "[" + std::string(static_cast<size_t>(filled), '#') + std::string(static_cast<size_t>(20 - filled), '.') +
           "] " + std::to_string(static_cast<int>(f * 100)) + "% ";
  } else {
    line = std::string(kSpinner[spin_++ % 10]) + " ";
  }
  line += label;
  if (count) line += " " + std::to_string(*count);
  // A file name may hold control characters; drawn raw they could move the cursor or worse.
  if (!path.empty()) line += "  " + printablePath(path);
  line = truncateToWidth(line, static_cast<size_t>(width - 1));
  std::fprintf(stderr, "\r\033[K%s", line.c_str());
  std::fflush(stderr);
  drawn_ = true;
}

void ProgressLine::clear() {
  if (!enabled_) return;
  std::lock_guard lock(mutex_);
  if (!drawn_) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
  drawn_ = false;
}

}  // namespace tidyloom::cli
