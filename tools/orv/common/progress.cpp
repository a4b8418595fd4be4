#include "tools/orv/common/progress.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>

#include "base/utf8.h"
#include "orv/text/format.h"
#include "platform/console.h"

namespace orv::tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kQuietTime(1);  // before the line appears

/// The line, which a thread of its own writes.
class Line {
 public:
  Line() = default;
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line() { Stop(); }  // for a program that ends inside a command

  void Start() {
    if (!IsTerminal(OutputStream::kMessages)) return;
    try {
      last_ = Clock::now();
      thread_ = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
      // The program works without the line.
    }
  }

  void Stop() {
    if (!thread_.joinable()) return;
    {
      const std::lock_guard lock(mutex_);
      isStopped_ = true;
    }
    wake_.notify_one();
    thread_.join();
  }

  void Hide() {
    if (!thread_.joinable()) return;
    const std::lock_guard lock(mutex_);
    Erase();
    last_ = Clock::now();
  }

  /// `percent` is negative if it is not known.
  void Set(const std::wstring& work, int percent) {
    if (!thread_.joinable()) return;
    const std::lock_guard lock(mutex_);
    work_ = work;
    percent_ = percent;
  }

 private:
  void Run() {
    std::unique_lock lock(mutex_);
    while (!isStopped_) {
      const Clock::time_point next = (width_ > 0 ? Clock::now() : last_) + kQuietTime;
      if (wake_.wait_until(lock, next, [this] { return isStopped_; })) break;
      if (Clock::now() >= last_ + kQuietTime) Show();
    }
    Erase();
  }

  void Show() {
    const std::wstring state =
        percent_ < 0
            ? Format(L"%d s", static_cast<int>(std::chrono::duration_cast<std::chrono::seconds>(
                                                   Clock::now() - last_)
                                                   .count()))
            : Format(L"%d %%", percent_);
    Erase();
    const std::string text = WideToUtf8(work_ + L" ... " + state);
    Write("\r" + text);
    width_ = text.size();
  }

  void Erase() {
    if (width_ > 0) Write("\r" + std::string(width_, ' ') + "\r");
    width_ = 0;
  }

  static void Write(const std::string& text) { WriteOutput(OutputStream::kMessages, text); }

  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable wake_;
  // Guarded by the mutex.
  bool isStopped_ = false;
  std::size_t width_ = 0;   ///< of the line; 0 while it is hidden
  Clock::time_point last_;  ///< the start or the last output
  std::wstring work_ = L"Working";
  int percent_ = -1;
};

Line& TheLine() {
  static Line line;
  return line;
}

}  // namespace

ProgressLine::ProgressLine() { TheLine().Start(); }
ProgressLine::~ProgressLine() { StopProgress(); }

void StopProgress() { TheLine().Stop(); }
void HideProgress() { TheLine().Hide(); }

Progress::Progress(const wchar_t* work) : work_(work) { TheLine().Set(work_, percent_); }
Progress::~Progress() { TheLine().Set(L"Working", -1); }

void Progress::Report(int done, int all) {
  const int percent = static_cast<int>(std::int64_t{done} * 100 / all);
  if (percent == percent_) return;
  percent_ = percent;
  TheLine().Set(work_, percent);
}

}  // namespace orv::tool
