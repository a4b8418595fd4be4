#include "orv/logging/logger.h"

#include <new>

#include "platform/files.h"
#include "platform/modules.h"

void CLoggerClient::Initialize(HINSTANCE hInstance) {
  m_hInstance = hInstance;
  m_stModulePath.clear();
  m_stModuleName.clear();
  m_stModuleFolder.clear();
  m_stError.clear();

  try {
    if (hInstance == nullptr || hInstance == reinterpret_cast<HINSTANCE>(INVALID_HANDLE_VALUE)) {
      m_stError = L"Unable to determine path to DLL: hInstance is NULL";
      return;
    }
    if (!orv::GetModulePath(hInstance, &m_stModulePath)) {
      m_stError = orv::Format(L"Unable to determine path to DLL. Error code: %d",
                              static_cast<int>(GetLastError()));
      return;
    }
    m_stModuleName = orv::FileNameOf(m_stModulePath);
    if (m_stModulePath.size() > m_stModuleName.size()) {
      m_stModuleFolder.assign(m_stModulePath, 0, m_stModulePath.size() - m_stModuleName.size() - 1);
    }
  } catch (const std::bad_alloc&) {
    m_stModulePath.clear();
    m_stModuleName.clear();
    m_stModuleFolder.clear();
    m_stError = L"?";  // what fits without memory
  }
}
