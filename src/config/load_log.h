#pragma once

#include "config/config_loader.h"
#include "orv/config/config_loader.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"

namespace orv {

/// Writes the log lines of a load.
class LoadLog final : public LoadObserver {
 public:
  explicit LoadLog(CLoggerClient* client) : client_(client) {}

  void OnUndescribedPrinter(DWORD error) override;
  void OnTextRead() override;
  void OnDocumentParsed() override;
  void OnRecordRead() override;
  void OnDigestMismatch(const std::wstring& path, const CString& stated,
                        const CString& computed) override;
  void OnFailure(LoadFailure failure, const std::wstring& path, const CString& detail) override;

 private:
  CLoggerClient* client_;
};

}  // namespace orv
