#include "api/c_call.h"

#include <iterator>
#include <memory>

#include "orv/platform/types.h"
#include "orv/version.h"

namespace {

/// Indexed by the error codes.
constexpr const char* kErrorTexts[] = {
    "no error",
    "invalid argument",
    "the buffer is too small",
    "not enough memory",
    "not found",
    "the value is of another kind",
    "the file, the spooler or the settings store cannot be read",
    "the file or the settings store cannot be written",
    "the file is not well-formed XML",
    "the content is invalid",
    "the record has another signature or version",
    "internal error",
};
static_assert(std::size(kErrorTexts) == ORV_ERROR_INTERNAL + 1);

orv::Lock sessionLock;

bool IsLogLevel(std::int32_t level) {
  return level == ORV_LOG_ERROR || level == ORV_LOG_WARNING || level == ORV_LOG_INFO ||
         level == ORV_LOG_TRACE;
}

}  // namespace

orv::Lock& orv::SessionLock() { return sessionLock; }

std::uint32_t ORV_C_CALL orv_api_version(void) { return ORV_C_API_VERSION; }

const char* ORV_C_CALL orv_version(void) { return ORV_VERSION; }

const char* ORV_C_CALL orv_error_text(std::int32_t code) {
  const auto index = static_cast<std::size_t>(code);
  return index < std::size(kErrorTexts) ? kErrorTexts[index] : "unknown error code";
}

std::int32_t ORV_C_CALL orv_log_open(const std::uint16_t* module, std::uint32_t module_length,
                                     const std::uint16_t* folder, std::uint32_t folder_length,
                                     orv_log** log) {
  if (!orv::IsText(module, module_length) || !orv::IsText(folder, folder_length) ||
      log == nullptr) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=] {
    auto opened = std::make_unique<orv_log>();
    opened->client.m_stModuleName = orv::TextFromC(module, module_length);
    opened->client.m_stModuleFolder = orv::TextFromC(folder, folder_length);
    CLogger::StartLogging(&opened->client);
    *log = opened.release();
    return ORV_OK;
  });
}

std::int32_t ORV_C_CALL orv_log_write(orv_log* log, std::int32_t level,
                                      const std::uint16_t* message, std::uint32_t message_length,
                                      const std::uint16_t* source, std::uint32_t source_length) {
  if (!IsLogLevel(level) || !orv::IsText(message, message_length) ||
      !orv::IsText(source, source_length)) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=] {
    CLogger::Log(static_cast<eLogLevel>(level), orv::ClientOf(log),
                 orv::TextFromC(message, message_length).c_str(),
                 orv::TextFromC(source, source_length).c_str());
    return ORV_OK;
  });
}

void ORV_C_CALL orv_log_close(orv_log* log) {
  if (log == nullptr) return;
  orv::CallFromC([=] {
    CLogger::StopLogging(&log->client);
    return ORV_OK;
  });
  delete log;
}
