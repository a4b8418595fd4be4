#include "api/c_call.h"
#include "api/c_config.h"
#include "devmode/merge.h"
#include "devmode/merge_log.h"
#include "devmode/record_fields.h"
#include "orv/devmode/oemdev.h"

static_assert(ORV_RECORD_SIZE == tagOEMDEV::kSize);

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

std::int32_t CodeOfRequest(orv::DevmodeFailure failure) {
  switch (failure) {
    case orv::DevmodeFailure::kNone:
      return ORV_OK;
    case orv::DevmodeFailure::kConfigNotLoaded:
      return ORV_ERROR_UNREADABLE;
    case orv::DevmodeFailure::kNotConverted:
      return ORV_ERROR_RECORD;
    case orv::DevmodeFailure::kMissingParameter:
    case orv::DevmodeFailure::kUnknownMode:
      break;
  }
  return ORV_ERROR_INTERNAL;
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

std::int32_t ORV_C_CALL orv_record_from_older_layout(void* record, std::uint32_t size) {
  return ChangeRecord(record, size, &orv::ReadLegacyLayout);
}

std::int32_t ORV_C_CALL orv_record_to_older_layout(void* record, std::uint32_t size) {
  return ChangeRecord(record, size, &orv::WriteLegacyLayout);
}

std::int32_t ORV_C_CALL orv_record_merge(void* printer, const std::uint16_t* printer_name,
                                         std::uint32_t name_length, orv_log* log, const void* in,
                                         void* out, std::uint32_t size, const void* public_in,
                                         void* public_out, std::uint32_t public_size) {
  const bool arePublic =
      public_in != nullptr && public_out != nullptr && public_size == sizeof(DEVMODEW);
  if (printer == nullptr || !orv::IsBuffer(printer_name, name_length) || !IsRecord(in, size) ||
      !IsRecord(out, size) || !arePublic) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=] {
    const std::wstring name = orv::TextFromC(printer_name, name_length);
    tagOEMDEV record = RecordFromC(in);
    tagOEMDEV merged{};
    merged.dwSignature = tagOEMDEV::kSignature;
    DEVMODEW publicRecord;
    std::memcpy(&publicRecord, public_in, sizeof(publicRecord));
    DEVMODEW publicMerged;
    std::memcpy(&publicMerged, public_out, sizeof(publicMerged));
    OEMDMPARAM param{};
    param.cbSize = sizeof(param);
    param.hPrinter = printer;
    param.pPublicDMIn = &publicRecord;
    param.pPublicDMOut = &publicMerged;
    param.pOEMDMIn = &record;
    param.pOEMDMOut = &merged;
    const std::int32_t code =
        CodeOfRequest(orv::RunLoggedRequest(
                          {printer, name.c_str(), OEMDM_MERGE, &param, nullptr, orv::ClientOf(log)})
                          .failure);
    if (code != ORV_OK) return code;
    std::memcpy(out, &merged, sizeof(merged));
    std::memcpy(public_out, &publicMerged, sizeof(publicMerged));
    return code;
  });
}
