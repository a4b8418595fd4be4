#include "platform/clock.h"

#include <windows.h>

namespace orv {

LocalTime GetLocalTimeNow() {
  SYSTEMTIME now;
  GetLocalTime(&now);
  return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

}  // namespace orv
