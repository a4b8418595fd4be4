#pragma once

#include <sys/wait.h>
#include <unistd.h>

namespace orv::test {

/// Forks and runs the work in the child. Returns whether it succeeded.
template <typename Work>
bool SucceedsInAChild(Work work) {
  const pid_t child = fork();
  if (child == 0) _exit(work() ? 0 : 1);
  int status = -1;
  return waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace orv::test
