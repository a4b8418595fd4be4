#include <cstdio>

#include "orv/config/config_parser.h"
#include "orv/config/configs_cache.h"

int main() {
  ConfigsCache* cache = ConfigsCache::GetInstance();  // owns the records it returns
  Config* config = nullptr;
  if (!CConfigParser::Load(L"examples/orv_conf_lx300.xml", &config, cache, nullptr)) return 1;
  std::printf("%ls: labels up to %d micrometres wide\n", config->device.model.modelName.c_str(),
              CConfigParser::GetMaxWidthInMicroMeter(config));
  ConfigsCache::ReleaseInstance();
}
