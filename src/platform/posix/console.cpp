#include "platform/console.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "platform/posix/descriptor.h"

namespace orv {
namespace {

/// Whether a call that failed is to be repeated: a signal interrupted it, or the stream was not
/// ready and now is. Another process that shares the stream may have made it non-blocking.
bool IsWorthRepeating(int descriptor, short event) {
  if (errno == EINTR) return true;
  if (errno != EAGAIN) return false;
  pollfd stream{descriptor, event, 0};
  return poll(&stream, 1, -1) > 0 || errno == EINTR;
}

/// Reads from standard input. Returns the number of bytes, 0 at its end, negative on failure.
ssize_t ReadSome(char* buffer, std::size_t size) {
  ssize_t count = 0;
  do {
    count = read(STDIN_FILENO, buffer, size);
  } while (count < 0 && IsWorthRepeating(STDIN_FILENO, POLLIN));
  return count;
}

}  // namespace

std::vector<std::string> CommandLineArguments(int argc, char** argv) {
  return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

bool WriteOutput(OutputStream stream, std::string_view text) {
  const int descriptor = stream == OutputStream::kResults ? STDOUT_FILENO : STDERR_FILENO;
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written < 0 && IsWorthRepeating(descriptor, POLLOUT)) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool ReadInput(std::string* bytes) {
  bytes->resize(1 << 16);
  const ssize_t count = ReadSome(bytes->data(), bytes->size());
  bytes->resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return count >= 0;
}

bool ReadInputLine(std::string* line) {
  // A terminal gives at most one line per read.
  char buffer[1 << 12];
  const ssize_t count = ReadSome(buffer, sizeof buffer);
  if (count <= 0) return false;
  line->assign(buffer, static_cast<std::size_t>(count));
  while (line->ends_with('\n') || line->ends_with('\r')) line->pop_back();
  return true;
}

bool LeadsToStandardOutput(const std::filesystem::path& path) {
  struct stat file {};
  struct stat output {};
  return stat(path.c_str(), &file) == 0 && fstat(STDOUT_FILENO, &output) == 0 &&
         FileIdentity(file) == FileIdentity(output) &&
         (S_ISFIFO(file.st_mode) || isatty(STDOUT_FILENO) != 0);
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
