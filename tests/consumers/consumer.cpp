// A minimal caller of the library: checks the version in the headers, calls functions, passes texts
// and objects in both directions, and finds the resources in the library's folder.

#include <cstdio>
#include <cstring>

#include "orv/crypto/encryption_aes.h"
#include "orv/logging/logger.h"
#include "orv/platform/graphics.h"
#include "orv/session/resources.h"
#include "orv/version.h"
#include "orv/xml/markup.h"

int main() {
  const orv::GraphicsSession graphics;
  const Bitmap bitmap(3, 2, PixelFormat24bppRGB);
  CMarkup xml;
  xml.SetDoc(L"<labels><label>50 x 30</label></labels>");
  const bool isRead = xml.FindChildElem(L"label") && xml.GetChildData() == L"50 x 30";
  const CString format = orv::Format(L"%ls", L"text");
  CLogger::m_nLoglevel = 0;  // exported data
  const bool isRight = isRead && format == L"text" && bitmap.GetLastStatus() == Ok &&
                       std::strcmp(ORV_VERSION, EXPECTED_VERSION) == 0;
#if defined(EXPECT_RESOURCES)
  if (GetResourcesDllInstanceHandle() == nullptr) return 2;
#endif
  std::printf("version %s\n", ORV_VERSION);
  return isRight ? 0 : 1;
}
