#include "tools/orv/common/config_folders.h"

#include <algorithm>
#include <filesystem>

#include "platform/files.h"
#include "platform/modules.h"
#include "platform/processes.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/output.h"

namespace orv::tool {

std::vector<std::wstring> ConfigFolders(const std::wstring& given) {
  if (!given.empty()) return {given};
  std::vector<std::wstring> folders;
  constexpr wchar_t kVariable[] = L"%ORV_CONFIG_DIR%";
  const std::wstring variable = ExpandVariables(kVariable);
  if (!variable.empty() && variable != kVariable) folders.push_back(variable);
  std::wstring program;
  GetModulePath(nullptr, &program);
  const std::filesystem::path own = ToPath(program).parent_path();
  folders.push_back(FromPath(own));
  folders.push_back(FromPath(own.parent_path() / "share" / "orv" / "configurations"));
  return folders;
}

std::wstring FolderWith(const std::wstring& fileName, const std::vector<std::wstring>& folders) {
  const auto found = std::ranges::find_if(folders, [&](const std::wstring& folder) {
    return !IsMissing(folder + kPathSeparator + fileName);
  });
  return found != folders.end() ? *found : std::wstring();
}

std::wstring DoctorCommand(const std::wstring& printer, const std::wstring& given) {
  return L"orv doctor " + Quoted(printer) +
         (given.empty() ? std::wstring() : L" --config-dir " + Quoted(given));
}

std::wstring AnyOf(const std::vector<std::wstring>& folders) {
  std::wstring text;
  for (std::size_t i = 0; i < folders.size(); ++i) {
    if (i > 0) text += i + 1 == folders.size() ? L" or " : L", ";
    text += folders[i];
  }
  return text;
}

}  // namespace orv::tool
