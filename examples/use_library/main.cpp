#include <cstdio>

#include "orv/config/config_loader.h"
#include "orv/text/utf8.h"

int main() {
  const orv::LoadResult loaded =
      orv::LoadConfigFile(L"examples/orv_conf_lx300.xml", nullptr, nullptr);
  if (loaded.config == nullptr) {
    std::fprintf(stderr, "%s\n", orv::ToUtf8(orv::LoadFailureText(loaded)).c_str());
    return 1;
  }
  const Device& device = loaded.config->device;
  std::printf("%s: labels up to %d micrometres wide\n", orv::ToUtf8(device.model.modelName).c_str(),
              device.label.widthMax);
}
