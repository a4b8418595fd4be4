#include <cstdint>
#include <cstring>
#include <string>

#include "api/c_call.h"
#include "api/c_config.h"
#include "base/utf8.h"
#include "devmode/explanation.h"
#include "devmode/merge.h"
#include "devmode/merge_log.h"
#include "devmode/record_fields.h"
#include "orv/c_api.h"
#include "orv/config/config_loader.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/lock.h"
#include "orv/platform/registry.h"
#include "orv/platform/types.h"

namespace {

/// Copies a caller's record, which may be unaligned.
tagOEMDEV RecordFromC(const void* bytes) {
  tagOEMDEV record;
  std::memcpy(&record, bytes, sizeof(record));
  return record;
}

bool IsRecord(const void* record, std::uint32_t size) {
  return record != nullptr && size == ORV_RECORD_SIZE;
}

std::int32_t ChangeRecord(void* record, std::uint32_t size, void (*change)(tagOEMDEV*)) {
  if (!IsRecord(record, size)) return ORV_ERROR_ARGUMENT;
  tagOEMDEV copy = RecordFromC(record);
  change(&copy);
  std::memcpy(record, &copy, sizeof(copy));
  return ORV_OK;
}

std::int32_t CodeOfMerge(const orv::DevmodeResult& result) {
  switch (result.failure) {
    case orv::DevmodeFailure::kNone:
      return ORV_OK;
    case orv::DevmodeFailure::kConfigNotLoaded:
      return orv::CodeOfLoad(result.load.failure);
    case orv::DevmodeFailure::kNotConverted:
      return ORV_ERROR_RECORD;
    case orv::DevmodeFailure::kMissingParameter:
    case orv::DevmodeFailure::kUnknownMode:
      break;
  }
  return ORV_ERROR_INTERNAL;
}

/// Whether a merge has its printer, both incoming records and their sizes.
bool AreMergeInputs(const void* printer, const std::uint16_t* name, std::uint32_t nameLength,
                    const void* in, std::uint32_t size, const void* publicIn,
                    std::uint32_t publicSize) {
  return printer != nullptr && orv::IsText(name, nameLength) && IsRecord(in, size) &&
         publicIn != nullptr && publicSize == sizeof(DEVMODEW);
}

/// Merges, and runs `use(*merged)` while the configuration is loaded.
template <typename Use>
std::int32_t MergeForC(void* printer, const std::wstring& name, orv_log* log, const void* in,
                       const void* publicIn, orv::Merged* merged, Use use) {
  merged->in = RecordFromC(in);
  std::memcpy(&merged->publicIn, publicIn, sizeof(merged->publicIn));
  const orv::LockGuard guard(orv::SessionLock());
  const orv::DevmodeResult result =
      orv::RunMerge(printer, name, nullptr, orv::ClientOf(log), merged);
  const std::int32_t code = CodeOfMerge(result);
  if (code != ORV_OK) return code;
  orv::FillDefaults(*merged->config, &merged->defaults);
  return use(*merged);
}

std::int32_t CopyExplanation(const orv::Merged& merged, std::uint16_t* buffer,
                             std::uint32_t capacity, std::uint32_t* length) {
  return orv::CopyToC(orv::Utf8ToWide(orv::ExplanationAsJson(merged)), buffer, capacity, length);
}

}  // namespace

std::int32_t ORV_C_CALL orv_record_default(const orv_config* config, void* record,
                                           std::uint32_t size) {
  if (config == nullptr || !IsRecord(record, size)) return ORV_ERROR_ARGUMENT;
  return orv::CallFromC([=] {
    tagOEMDEV defaults = RecordFromC(record);
    orv::FillDefaults(*config->config, &defaults);
    std::memcpy(record, &defaults, sizeof(defaults));
    return ORV_OK;
  });
}

std::int32_t ORV_C_CALL orv_record_validate(const orv_config* config, orv_log* log, const void* in,
                                            void* out, std::uint32_t size,
                                            std::uint16_t* corrections, std::uint32_t capacity,
                                            std::uint32_t* corrections_length) {
  if (config == nullptr || !IsRecord(in, size) || !IsRecord(out, size) ||
      (corrections_length != nullptr && !orv::IsBuffer(corrections, capacity))) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=] {
    tagOEMDEV record = RecordFromC(in);
    orv::MergeLog steps(orv::ClientOf(log));
    const orv::Corrections made = orv::MakeValid(config->config.get(), &record, &steps);
    const std::wstring text = orv::DescribeCorrections(made);
    std::memcpy(out, &record, sizeof(record));
    orv::CutToC(text, corrections, capacity, corrections_length);
    return ORV_OK;
  });
}

std::int32_t ORV_C_CALL orv_record_convert(orv_log* log, const void* in, void* out,
                                           std::uint32_t size) {
  if (!IsRecord(in, size) || !IsRecord(out, size)) return ORV_ERROR_ARGUMENT;
  return orv::CallFromC([=] {
    const tagOEMDEV record = RecordFromC(in);
    tagOEMDEV converted{};
    converted.dwSignature = tagOEMDEV::kSignature;
    orv::MergeLog steps(orv::ClientOf(log));
    if (orv::ConvertRecord(&record, &converted, &steps) != orv::Conversion::kDone) {
      return ORV_ERROR_RECORD;
    }
    std::memcpy(out, &converted, sizeof(converted));
    return ORV_OK;
  });
}

std::int32_t ORV_C_CALL orv_record_from_legacy_layout(void* record, std::uint32_t size) {
  return ChangeRecord(record, size, &orv::ReadLegacyLayout);
}

std::int32_t ORV_C_CALL orv_record_to_legacy_layout(void* record, std::uint32_t size) {
  return ChangeRecord(record, size, &orv::WriteLegacyLayout);
}

std::int32_t ORV_C_CALL orv_record_merge(void* printer, const std::uint16_t* printer_name,
                                         std::uint32_t name_length, orv_log* log, const void* in,
                                         void* out, std::uint32_t size, const void* public_in,
                                         void* public_out, std::uint32_t public_size) {
  if (!AreMergeInputs(printer, printer_name, name_length, in, size, public_in, public_size) ||
      out == nullptr || public_out == nullptr) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=] {
    orv::Merged merged{};
    std::memcpy(&merged.publicOut, public_out, sizeof(merged.publicOut));
    const auto copy = [=](const orv::Merged& done) {
      std::memcpy(out, &done.out, sizeof(done.out));
      std::memcpy(public_out, &done.publicOut, sizeof(done.publicOut));
      return ORV_OK;
    };
    return MergeForC(printer, orv::TextFromC(printer_name, name_length), log, in, public_in,
                     &merged, copy);
  });
}

std::int32_t ORV_C_CALL orv_record_explain(const orv_config* config, const void* record,
                                           std::uint32_t size, std::uint16_t* buffer,
                                           std::uint32_t capacity, std::uint32_t* length) {
  if (config == nullptr || !IsRecord(record, size) || !orv::IsBuffer(buffer, capacity) ||
      length == nullptr) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=] {
    return CopyExplanation(orv::ValidateWithSteps(*config->config, RecordFromC(record)), buffer,
                           capacity, length);
  });
}

std::int32_t ORV_C_CALL orv_record_explain_merge(void* printer, const std::uint16_t* printer_name,
                                                 std::uint32_t name_length, orv_log* log,
                                                 const void* in, std::uint32_t size,
                                                 const void* public_in, std::uint32_t public_size,
                                                 std::uint16_t* buffer, std::uint32_t capacity,
                                                 std::uint32_t* length) {
  if (!AreMergeInputs(printer, printer_name, name_length, in, size, public_in, public_size) ||
      !orv::IsBuffer(buffer, capacity) || length == nullptr) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=] {
    orv::Merged merged{};
    std::memcpy(&merged.publicOut, public_in, sizeof(merged.publicOut));
    const auto explain = [=](const orv::Merged& done) {
      return CopyExplanation(done, buffer, capacity, length);
    };
    return MergeForC(printer, orv::TextFromC(printer_name, name_length), log, in, public_in,
                     &merged, explain);
  });
}
