#include "api/c_config.h"

#include <algorithm>
#include <string>

#include "api/c_call.h"
#include "base/utf8.h"
#include "config/config_loader.h"
#include "config/load_log.h"
#include "orv/c_api.h"
#include "orv/logging/logger.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"

namespace {

/// Where the reason of a failed load goes.
struct ReasonBuffer {
  std::uint16_t* units;
  std::uint32_t capacity;
  std::uint32_t* length;

  bool IsValid() const { return length == nullptr || orv::IsBuffer(units, capacity); }
};

/// Loads by `load(client, observer)`.
template <typename Load>
std::int32_t LoadForC(orv_log* log, orv_config** config, const ReasonBuffer& reason, Load load) {
  if (config == nullptr || !reason.IsValid()) return ORV_ERROR_ARGUMENT;
  return orv::CallFromC([&] {
    orv::LoadLog steps(orv::ClientOf(log));
    orv::LoadResult result = load(orv::ClientOf(log), &steps);
    if (result.config == nullptr) {
      orv::CutToC(orv::LoadFailureText(result), reason.units, reason.capacity, reason.length);
      return orv::CodeOfLoad(result.failure);
    }
    auto loaded = std::make_unique<orv_config>();
    loaded->values = orv::NamedConfigValues(*result.config);
    loaded->config = std::move(result.owned);
    *config = loaded.release();
    return std::int32_t{ORV_OK};
  });
}

/// The result if the spooler cannot be read.
orv::LoadResult UnreadableSpooler(DWORD error, orv::LoadObserver* observer) {
  observer->OnUndescribedPrinter(error);
  orv::LoadResult result;
  result.failure = orv::LoadFailure::kUnreadable;
  result.detail = orv::UndescribedPrinterText(error);
  return result;
}

/// Runs `use(value)` on the value of a name.
template <typename Use>
std::int32_t UseValue(const orv_config* config, const std::uint16_t* name, std::uint32_t nameLength,
                      Use use) {
  return orv::CallFromC([&]() -> std::int32_t {
    const std::wstring wanted = orv::TextFromC(name, nameLength);
    const auto found = std::ranges::find(config->values, wanted, &orv::NamedConfigValue::name);
    return found != config->values.end() ? use(*found) : ORV_ERROR_NOT_FOUND;
  });
}

}  // namespace

namespace orv {

std::int32_t CodeOfLoad(LoadFailure failure) {
  switch (failure) {
    case LoadFailure::kNone:
      return ORV_OK;
    case LoadFailure::kInvalidPrinter:
      return ORV_ERROR_NOT_FOUND;
    case LoadFailure::kUnreadable:
      return ORV_ERROR_UNREADABLE;
    case LoadFailure::kOutOfMemory:
      return ORV_ERROR_MEMORY;
    case LoadFailure::kMalformed:
      return ORV_ERROR_MALFORMED;
    case LoadFailure::kInvalid:
      return ORV_ERROR_INVALID;
  }
  return ORV_ERROR_INTERNAL;
}

std::int32_t CodeOfSpooler(DWORD error) {
  return error == ERROR_INVALID_PRINTER_NAME ? ORV_ERROR_NOT_FOUND : ORV_ERROR_UNREADABLE;
}

std::wstring LoadFailureText(const LoadResult& result) {
  if (result.failure == LoadFailure::kNone) return {};
  std::wstring text = result.failure == LoadFailure::kUnreadable
                          ? L"the configuration cannot be read"
                          : Utf8ToWide(orv_error_text(CodeOfLoad(result.failure)));
  if (!result.detail.empty()) text += L": " + result.detail;
  return text;
}

}  // namespace orv

std::int32_t ORV_C_CALL orv_printer_open(const std::uint16_t* name, std::uint32_t name_length,
                                         void** printer) {
  if (!orv::IsRequiredText(name, name_length) || printer == nullptr) return ORV_ERROR_ARGUMENT;
  return orv::CallFromC([=] {
    HANDLE const opened = orv::OpenPrinterHandle(orv::TextFromC(name, name_length).c_str());
    if (opened == nullptr) return orv::CodeOfSpooler(GetLastError());
    *printer = opened;
    return std::int32_t{ORV_OK};
  });
}

void ORV_C_CALL orv_printer_close(void* printer) {
  orv::CallFromC([=] {
    orv::ClosePrinterHandle(printer);
    return ORV_OK;
  });
}

std::int32_t ORV_C_CALL orv_config_load(const std::uint16_t* path, std::uint32_t path_length,
                                        orv_log* log, orv_config** config, std::uint16_t* reason,
                                        std::uint32_t capacity, std::uint32_t* reason_length) {
  if (!orv::IsRequiredText(path, path_length)) return ORV_ERROR_ARGUMENT;
  return LoadForC(log, config, {reason, capacity, reason_length},
                  [=](CLoggerClient* client, orv::LoadObserver* observer) {
                    return orv::LoadConfigFile(orv::TextFromC(path, path_length), nullptr, client,
                                               observer);
                  });
}

std::int32_t ORV_C_CALL orv_config_load_handle(void* printer, orv_log* log, orv_config** config,
                                               std::uint16_t* reason, std::uint32_t capacity,
                                               std::uint32_t* reason_length) {
  if (printer == nullptr) return ORV_ERROR_ARGUMENT;
  return LoadForC(log, config, {reason, capacity, reason_length},
                  [=](CLoggerClient* client, orv::LoadObserver* observer) {
                    return orv::LoadPrinterConfig(printer, nullptr, client, observer);
                  });
}

std::int32_t ORV_C_CALL orv_config_load_printer(const std::uint16_t* name,
                                                std::uint32_t name_length, orv_log* log,
                                                orv_config** config, std::uint16_t* reason,
                                                std::uint32_t capacity,
                                                std::uint32_t* reason_length) {
  if (!orv::IsRequiredText(name, name_length)) return ORV_ERROR_ARGUMENT;
  return LoadForC(log, config, {reason, capacity, reason_length},
                  [=](CLoggerClient* client, orv::LoadObserver* observer) {
                    const std::wstring printer = orv::TextFromC(name, name_length);
                    const orv::OwnedPrinterHandle handle(orv::OpenPrinterHandle(printer.c_str()));
                    if (handle == nullptr) {
                      const DWORD error = GetLastError();
                      if (orv::CodeOfSpooler(error) != ORV_ERROR_NOT_FOUND) {
                        return UnreadableSpooler(error, observer);
                      }
                    }
                    return orv::LoadPrinterConfig(handle.get(), nullptr, client, observer);
                  });
}

void ORV_C_CALL orv_config_close(orv_config* config) { delete config; }

std::int32_t ORV_C_CALL orv_config_count(const orv_config* config, std::uint32_t* count) {
  if (config == nullptr || count == nullptr) return ORV_ERROR_ARGUMENT;
  *count = static_cast<std::uint32_t>(config->values.size());
  return ORV_OK;
}

std::int32_t ORV_C_CALL orv_config_name(const orv_config* config, std::uint32_t index,
                                        std::uint16_t* buffer, std::uint32_t capacity,
                                        std::uint32_t* length) {
  if (config == nullptr || length == nullptr || !orv::IsBuffer(buffer, capacity)) {
    return ORV_ERROR_ARGUMENT;
  }
  if (index >= config->values.size()) return ORV_ERROR_NOT_FOUND;
  return orv::CopyToC(config->values[index].name, buffer, capacity, length);
}

std::int32_t ORV_C_CALL orv_config_text(const orv_config* config, const std::uint16_t* name,
                                        std::uint32_t name_length, std::uint16_t* buffer,
                                        std::uint32_t capacity, std::uint32_t* length) {
  if (config == nullptr || !orv::IsRequiredText(name, name_length) || length == nullptr ||
      !orv::IsBuffer(buffer, capacity)) {
    return ORV_ERROR_ARGUMENT;
  }
  return UseValue(config, name, name_length, [=](const orv::NamedConfigValue& value) {
    return orv::CopyToC(value.text, buffer, capacity, length);
  });
}

std::int32_t ORV_C_CALL orv_config_integer(const orv_config* config, const std::uint16_t* name,
                                           std::uint32_t name_length, std::int32_t* value) {
  if (config == nullptr || !orv::IsRequiredText(name, name_length) || value == nullptr) {
    return ORV_ERROR_ARGUMENT;
  }
  return UseValue(config, name, name_length, [=](const orv::NamedConfigValue& found) {
    using Kind = orv::NamedConfigValue::Kind;
    if (found.kind == Kind::kText || found.kind == Kind::kList) return ORV_ERROR_KIND;
    *value = found.numbers.front();
    return ORV_OK;
  });
}

std::int32_t ORV_C_CALL orv_config_integers(const orv_config* config, const std::uint16_t* name,
                                            std::uint32_t name_length, std::int32_t* buffer,
                                            std::uint32_t capacity, std::uint32_t* length) {
  if (config == nullptr || !orv::IsRequiredText(name, name_length) || length == nullptr ||
      !orv::IsBuffer(buffer, capacity)) {
    return ORV_ERROR_ARGUMENT;
  }
  return UseValue(config, name, name_length, [=](const orv::NamedConfigValue& found) {
    return found.kind == orv::NamedConfigValue::Kind::kText
               ? std::int32_t{ORV_ERROR_KIND}
               : orv::CopyToC(found.numbers, buffer, capacity, length);
  });
}
