// A second process for the tests of session data.
//   save            writes its own entry below the session key and prints its process id
//   host            prints whether it counts as started by a system host
//   start PROGRAM   starts "PROGRAM host" and prints what that printed

#include <cstdio>
#include <string>
#include <string_view>

#include "orv/logging/logger.h"
#include "orv/session/session_data.h"
#include "tests/fixtures.h"

int main(int argc, char** argv) {
  CLogger::m_bWriteLogToFile = 0;
  const std::string_view verb = argc > 1 ? argv[1] : "";
  if (verb == "save") {
    orv::test::JoinScratchRegistry();
    const unsigned long id = orv::test::OwnProcessId();
    std::printf("%lu", id);
    return orv::test::SaveSession(std::to_wstring(id)) ? 0 : 1;
  }
  if (verb == "host") {
    std::uint32_t isSystemParent = 2;
    GetSessionIsSystemParent(&isSystemParent);
    std::printf("%u", isSystemParent);
    return 0;
  }
  if (verb == "start" && argc > 2) {
    std::printf("%s", orv::test::RunProgram(argv[2], {"host"}).output.c_str());
    return 0;
  }
  return 2;
}
