#include "platform/debug_output.h"

#include <atomic>

namespace orv {
namespace {
std::atomic<DebugOutputSink> currentSink{nullptr};
}  // namespace

void WriteDebugOutput(const std::wstring& text) {
  if (const DebugOutputSink sink = currentSink.load(std::memory_order_acquire)) {
    sink(text);
  } else {
    WriteSystemDebugOutput(text);
  }
}

void SetDebugOutputSink(DebugOutputSink sink) {
  currentSink.store(sink, std::memory_order_release);
}

}  // namespace orv
