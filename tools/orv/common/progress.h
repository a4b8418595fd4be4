#pragma once

/// A line on the terminal that shows that the program works. It appears on standard error after one
/// second without output, and disappears before anything else is printed.

namespace orv::tool {

/// Shows the line while it lives, unless standard error is not a terminal. There is at most one.
class ProgressLine {
 public:
  ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine();
};

/// Removes the line for good: results follow, or the program waits for the user. Any thread.
void StopProgress();
/// Removes the line, which can come back a second later. Any thread.
void HideProgress();

/// Names the work that the line shows while it lives, and how much of it is done.
class Progress {
 public:
  explicit Progress(const wchar_t* work);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  void Report(int done, int all);

 private:
  const wchar_t* work_;
  int percent_ = -1;
};

}  // namespace orv::tool
