#include <cstdio>
#include <fstream>
#include <iterator>
#include <string_view>
#include <vector>

#include "fuzz/targets.h"

/// The fuzz targets without the fuzzer. `fuzz_replay CORPUS` runs every target on the files of its
/// folder, complete and truncated at several lengths, so the targets' checks run in every build.
/// `fuzz_replay TARGET FILE...` runs one target on files, to examine a crash. A failed check
/// aborts; a target without files is an error.

namespace {

using orv::fuzz::Input;

struct Target {
  const char* name;
  void (*run)(Input);
};

constexpr Target kTargets[] = {
    {"XmlParse", &orv::fuzz::XmlParse},
    {"XmlEdit", &orv::fuzz::XmlEdit},
    {"XmlFile", &orv::fuzz::XmlFile},
    {"XmlStrict", &orv::fuzz::XmlStrict},
#if defined(ORV_LIBXML2)
    {"XmlPeer", &orv::fuzz::XmlPeer},
#endif
    {"XmlEscape", &orv::fuzz::XmlEscape},
    {"Base64", &orv::fuzz::Base64},
    {"ConfigFile", &orv::fuzz::ConfigFile},
    {"ConfigEdit", &orv::fuzz::ConfigEdit},
    {"ProtectedFile", &orv::fuzz::ProtectedFile},
    {"Record", &orv::fuzz::Record},
    {"CInterface", &orv::fuzz::CInterface},
    {"Imaging", &orv::fuzz::Imaging},
    {"RegistryFile", &orv::fuzz::RegistryFile},
    {"RecordText", &orv::fuzz::RecordText},
#if defined(ORV_PRINTER_APP)
    {"Raster", &orv::fuzz::Raster},
#endif
};

std::vector<std::uint8_t> Read(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Run(const Target& target, const std::filesystem::path& path) {
  const std::vector<std::uint8_t> bytes = Read(path);
  for (const std::size_t part : {9, 8, 7, 6, 4, 1, 0}) {
    target.run(Input(bytes).first(bytes.size() * part / 9));
  }
}

/// The number of files run.
int RunFolder(const Target& target, const std::filesystem::path& folder) {
  int files = 0;
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(folder, none)) {
    // Printed before the run to identify the input of a crash.
    std::printf("%s %s\n", target.name, entry.path().filename().string().c_str());
    std::fflush(stdout);
    Run(target, entry.path());
    ++files;
  }
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  bool isComplete = argc > 1;
  for (const Target& target : kTargets) {
    if (argc == 2) {
      const int files = RunFolder(target, std::filesystem::path(argv[1]) / target.name);
      if (files == 0) {
        std::fprintf(stderr, "no corpus of %s in %s\n", target.name, argv[1]);
        isComplete = false;
      }
    } else if (argc > 2 && std::string_view(argv[1]) == target.name) {
      for (int i = 2; i < argc; ++i) Run(target, argv[i]);
    }
  }
  return isComplete ? 0 : 1;
}
