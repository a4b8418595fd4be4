#include "platform/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

namespace orv {

std::vector<std::string> CommandLineArguments(int argc, char** argv) {
  return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

bool WriteOutput(OutputStream stream, std::string_view text) {
  const int descriptor = stream == OutputStream::kResults ? STDOUT_FILENO : STDERR_FILENO;
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool ReadInput(std::string* bytes) {
  bytes->resize(1 << 16);
  ssize_t count = 0;
  do {
    count = read(STDIN_FILENO, bytes->data(), bytes->size());
  } while (count < 0 && errno == EINTR);
  bytes->resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return count >= 0;
}

bool ReadInputLine(std::string* line) {
  // A terminal gives at most one line per read.
  char buffer[1 << 12];
  ssize_t count = 0;
  do {
    count = read(STDIN_FILENO, buffer, sizeof buffer);
  } while (count < 0 && errno == EINTR);
  if (count <= 0) return false;
  line->assign(buffer, static_cast<std::size_t>(count));
  while (line->ends_with('\n') || line->ends_with('\r')) line->pop_back();
  return true;
}

bool IsTerminal(OutputStream stream) {
  return isatty(stream == OutputStream::kResults ? STDOUT_FILENO : STDERR_FILENO) != 0;
}

std::optional<int> TerminalWidth(OutputStream stream) {
  winsize size{};
  const int descriptor = stream == OutputStream::kResults ? STDOUT_FILENO : STDERR_FILENO;
  if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return {};
  return size.ws_col;
}

bool IsInputTerminal() { return isatty(STDIN_FILENO) != 0; }

void PauseMilliseconds(int milliseconds) { usleep(static_cast<useconds_t>(milliseconds) * 1000); }

}  // namespace orv
