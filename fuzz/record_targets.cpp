#include <algorithm>
#include <cstring>
#include <memory>

#include "CLI/CLI.hpp"
#include "fuzz/targets.h"
#include "orv/config/config_parser.h"
#include "orv/devmode/devmode.h"
#include "orv/devmode/oemdev.h"
#include "platform/files.h"
#include "tools/orv/devmode/record_search.h"
#include "tools/orv/devmode/record_text.h"
#include "tools/orv/registry/reg_file.h"

namespace orv::fuzz {
namespace {

const Config& SampleConfig() {
  static const std::unique_ptr<Config> config = [] {
    Config* loaded = nullptr;
    CConfigParser::Load(FromPath(std::filesystem::path(ORV_EXAMPLES) / "orv_conf_lx300.xml"),
                        &loaded, nullptr, nullptr);
    Require(loaded != nullptr, "the sample configuration loads");
    return std::unique_ptr<Config>(loaded);
  }();
  return *config;
}

bool AreSame(const tagOEMDEV& a, const tagOEMDEV& b) { return std::memcmp(&a, &b, sizeof(a)) == 0; }

}  // namespace

void Record(Input input) {
  tagOEMDEV record = {};
  std::memcpy(&record, input.data(), std::min(input.size(), sizeof(record)));
  tagOEMDEV copy = {};
  ConvertOEMDevmodeVersions(nullptr, &record, &copy);
  // The first round trip rounds the settings to the legacy layout's units; later ones change
  // nothing.
  const auto convert = [](tagOEMDEV settled) {
    ConvertEp2Orv(&settled);
    ConvertOrv2Ep(&settled);
    return settled;
  };
  copy = convert(convert(record));
  Require(AreSame(convert(copy), copy), "repeated round trips change nothing");
  EnsureValidOEMDevmode(nullptr, &SampleConfig(), &record);
  tagOEMDEV again = record;
  EnsureValidOEMDevmode(nullptr, &SampleConfig(), &again);
  Require(AreSame(again, record), "a validated record needs no corrections");
}

void RegistryFile(Input input) {
  const std::wstring text = AsText(input);
  std::vector<tool::RegChange> changes;
  std::vector<tool::RegFault> faults;
  tool::ParseRegFile(text, &changes, &faults);
  std::wstring written = tool::RegFileHeader();
  std::vector<const tool::RegChange*> values;
  for (const tool::RegChange& change : changes) {
    if (change.kind != tool::RegChange::Kind::kSetValue) continue;
    written += tool::FormatRegKey(tool::FullKeyPath(change.root, change.path));
    written += tool::FormatRegValue(change.name, change.value);
    values.push_back(&change);
  }
  std::vector<tool::RegChange> read;
  faults.clear();
  tool::ParseRegFile(written, &read, &faults);
  std::erase_if(read, [](const auto& c) { return c.kind != tool::RegChange::Kind::kSetValue; });
  Require(faults.empty() && read.size() == values.size(), "a written file can be read");
  for (std::size_t i = 0; i < values.size(); ++i) {
    Require(read[i].name == values[i]->name && read[i].path == values[i]->path &&
                read[i].value.type == values[i]->value.type &&
                read[i].value.data == values[i]->value.data,
            "a value is read as it was written");
  }
}

void RecordText(Input input) {
  const tool::RecordSearch search =
      tool::FindRecords({reinterpret_cast<const char*>(input.data()), input.size()});
  Require(search.record.has_value() != search.places.empty(), "a record that is found has a place");
  const tagOEMDEV zeros{};
  tagOEMDEV record;
  try {
    record = tool::RecordFromText(AsText(input), L"input", &zeros);
  } catch (const CLI::RuntimeError&) {
    return;
  }
  const std::string text = tool::RecordAsText(record);
  const tagOEMDEV again =
      tool::RecordFromText(std::wstring(text.begin(), text.end()), L"again", nullptr);
  Require(AreSame(again, record), "a record is restored from its text");
}

}  // namespace orv::fuzz
