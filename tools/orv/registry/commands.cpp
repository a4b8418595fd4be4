#include <algorithm>
#include <iterator>

#include "base/hex.h"
#include "orv/platform/registry.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "platform/error_text.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/registry/reg_file.h"

namespace orv::tool {
namespace {

struct TypeName {
  const wchar_t* name;
  DWORD type;
};
/// The types of the registry; only the first three can be set from the command line.
constexpr TypeName kTypes[] = {
    {L"REG_SZ", REG_SZ}, {L"REG_DWORD", REG_DWORD}, {L"REG_BINARY", REG_BINARY},
    {L"REG_NONE", 0},    {L"REG_EXPAND_SZ", 2},     {L"REG_DWORD_BIG_ENDIAN", 5},
    {L"REG_LINK", 6},    {L"REG_MULTI_SZ", 7},      {L"REG_QWORD", 11},
};

/// A key as the command line names it.
struct KeyName {
  HKEY root = nullptr;
  std::wstring path;

  std::wstring Full() const { return FullKeyPath(root, path); }
};

KeyName ParseKey(const std::string& argument) {
  KeyName key;
  if (!ParseKeyPath(ToWide(argument), &key.root, &key.path)) {
    Fail(kUsage, L"\"" + ToWide(argument) + L"\" is not a key: keys begin with HKCU\\ or HKLM\\");
  }
  return key;
}

/// Ends the command if a function has failed. `what` is what it does to the key, or to a value of
/// it.
void Require(LONG error, const std::wstring& what, const KeyName& name) {
  if (error == ERROR_SUCCESS) return;
  Fail(error == ERROR_FILE_NOT_FOUND ? kFindings : kUnreadable,
       L"cannot " + what + L" " + name.Full() + FailingStore({name.root}, error) + L": " +
           DescribeError(error));
}

/// The same for a function that writes.
void RequireChanged(LONG error, const std::wstring& what, const KeyName& name) {
  if (error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND) return Require(error, what, name);
  Fail(kUnreadable, L"cannot " + what + L" " + name.Full() + StorePart(name.root) + L": " +
                        DescribeError(error) +
                        AdministratorHint(name.root, error, L"settings below HKCU are your own"));
}

RegistryKey OpenKey(const KeyName& name) {
  RegistryKey key;
  Require(key.Open(name.root, name.path, RegistryAccess::kRead), L"open", name);
  return key;
}

std::wstring NameOfType(DWORD type) {
  const auto* const known = std::find_if(std::begin(kTypes), std::end(kTypes),
                                         [type](const TypeName& t) { return t.type == type; });
  return known != std::end(kTypes) ? known->name : Format(L"%u", static_cast<unsigned>(type));
}

/// A value's data as text.
std::wstring ShowData(const RegistryValue& value) {
  DWORD number = 0;
  if (value.type == REG_SZ) return value.Text();
  if (value.Number(&number)) return std::to_wstring(number);
  return HexOf<std::wstring>({reinterpret_cast<const char*>(value.data.data()), value.data.size()});
}

void WriteJsonValue(const std::wstring& name, const RegistryValue& value, JsonWriter* json) {
  json->BeginObject();
  json->Member("name", name);
  json->Member("type", NameOfType(value.type));
  DWORD number = 0;
  if (value.Number(&number)) {
    json->Member("data", std::uint32_t{number});
  } else {
    json->Member("data", ShowData(value));
  }
  json->EndObject();
}

/// All sub-keys and values of a key.
void ReadKey(HKEY key, const KeyName& name, std::vector<std::wstring>* keys,
             std::vector<NamedRegistryValue>* values) {
  Require(ListRegistryKeys(key, keys), L"list", name);
  Require(ListRegistryValues(key, values), L"list", name);
}

void AddKeyListCommand(CLI::App* group) {
  struct Options {
    std::string key;
    bool asJson = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("list", "Show a key's sub-keys and values");
  command->add_option("KEY", options->key, "The key")->required();
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "Examples:\n"
      "  orv registry list \"HKCU\\Software\\orv Printer Driver\\Test\"\n"
      "  orv registry list \"HKCU\\Software\\orv Printer Driver\" --json");
  command->callback([options] {
    const KeyName name = ParseKey(options->key);
    const RegistryKey key = OpenKey(name);
    std::vector<std::wstring> keys;
    std::vector<NamedRegistryValue> values;
    ReadKey(key.get(), name, &keys, &values);
    if (options->asJson) {
      JsonWriter json;
      json.BeginObject();
      json.Member("key", name.Full());
      json.Key("keys");
      json.BeginArray();
      for (const std::wstring& subKey : keys) json.Value(subKey);
      json.EndArray();
      json.Key("values");
      json.BeginArray();
      for (const NamedRegistryValue& value : values) WriteJsonValue(value.name, value.value, &json);
      json.EndArray();
      json.EndObject();
      return Print(json.Text());
    }
    Table table({L"NAME", L"TYPE", L"DATA"});
    for (const std::wstring& subKey : keys) table.Add({subKey + L"\\", L"key", L""});
    for (const NamedRegistryValue& value : values) {
      table.Add({value.name.empty() ? L"(default)" : value.name, NameOfType(value.value.type),
                 ShowData(value.value)});
    }
    Print(table.TakeText());
  });
}

void AddGetCommand(CLI::App* group) {
  struct Options {
    std::string key;
    std::string name;
    bool asJson = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("get", "Show the data of one value");
  command->add_option("KEY", options->key, "The key")->required();
  command->add_option("NAME", options->name, "The value's name; \"\" for the default value")
      ->required();
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "Examples:\n"
      "  orv registry get \"HKCU\\Software\\orv Printer Driver\\Test\" LogLevel\n"
      "  orv registry get \"HKCU\\Software\\orv Printer Driver\\Test\" LogLevel --json");
  command->callback([options] {
    const KeyName name = ParseKey(options->key);
    const std::wstring valueName = ToWide(options->name);
    const RegistryKey key = OpenKey(name);
    RegistryValue value;
    Require(GetRegistryValue(key.get(), valueName, &value), L"read \"" + valueName + L"\" in",
            name);
    if (options->asJson) {
      JsonWriter json;
      WriteJsonValue(valueName, value, &json);
      return Print(json.Text());
    }
    Print(ShowData(value) + L"\n");
  });
}

RegistryValue ParseData(const std::wstring& data, const std::string& typeName) {
  if (typeName == "REG_SZ") return RegistryValue::FromText(data);
  if (typeName == "REG_DWORD") {
    std::uint32_t number = 0;
    if (!ParseNumber(data, &number)) {
      Fail(kUsage, L"\"" + data +
                       L"\" is not a number from 0 to 4294967295, decimal or hexadecimal with 0x");
    }
    return RegistryValue::FromNumber(number);
  }
  RegistryValue value{REG_BINARY, {}};
  for (std::size_t at = 0; at < data.size(); at += 2) {
    const int high = HexDigit(data[at]);
    const int low = at + 1 < data.size() ? HexDigit(data[at + 1]) : -1;
    if (high < 0 || low < 0)
      Fail(kUsage, L"\"" + data + L"\" is not a sequence of pairs of hexadecimal digits");
    value.data.push_back(static_cast<BYTE>(high << 4 | low));
  }
  return value;
}

void AddSetCommand(CLI::App* group) {
  struct Options {
    std::string key;
    std::string name;
    std::string data;
    std::string type = "REG_SZ";
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("set", "Set a value; its key is created if missing");
  command->add_option("KEY", options->key, "The key")->required();
  command->add_option("NAME", options->name, "The value's name; \"\" for the default value")
      ->required();
  command
      ->add_option("DATA", options->data,
                   "Text; a number, decimal or with 0x; or bytes as hexadecimal digits")
      ->required();
  AllowWords(command->add_option("--type", options->type, "REG_SZ, REG_DWORD or REG_BINARY"),
             {"REG_SZ", "REG_DWORD", "REG_BINARY"}, "TYPE")
      ->capture_default_str();
  command->footer(
      "Examples:\n"
      "  orv registry set \"HKCU\\Software\\orv Printer Driver\\Test\" LogLevel 15\n"
      "  orv registry set \"HKCU\\Software\\Sample\" Count 0x10 --type REG_DWORD");
  command->callback([options] {
    const KeyName name = ParseKey(options->key);
    const RegistryChange change{RegistryChange::Kind::kSetValue, name.root, name.path,
                                ToWide(options->name),
                                ParseData(ToWide(options->data), options->type)};
    std::size_t ignored = 0;
    RequireChanged(ChangeRegistry({&change, 1}, &ignored), L"set \"" + change.name + L"\" in",
                   name);
  });
}

void AddDeleteCommand(CLI::App* group) {
  struct Options {
    std::string key;
    std::string name;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand(
      "delete", "Delete one value, or a key with everything below it when no value is named");
  command->add_option("KEY", options->key, "The key")->required();
  CLI::Option* nameOption =
      command->add_option("NAME", options->name, "The value's name; \"\" for the default value");
  command->footer(
      "Examples:\n"
      "  orv registry delete \"HKCU\\Software\\orv Printer Driver\\Test\" LogLevel\n"
      "  orv registry delete \"HKCU\\Software\\orv Printer Driver\"");
  command->callback([options, nameOption] {
    const KeyName name = ParseKey(options->key);
    if (nameOption->count() == 0) {
      if (name.path.empty()) Fail(kUsage, L"refusing to delete a whole hive");
      return RequireChanged(DeleteRegistryTree(name.root, name.path), L"delete", name);
    }
    RegistryKey key;
    RequireChanged(key.Open(name.root, name.path, RegistryAccess::kReadWrite), L"open", name);
    RequireChanged(DeleteRegistryValue(key.get(), ToWide(options->name)),
                   L"delete \"" + ToWide(options->name) + L"\" in", name);
  });
}

void AddExportCommand(CLI::App* group) {
  struct Options {
    std::string key;
    std::string file = "-";
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand(
      "export", "Write a key with everything below it as registry file text, version 5");
  command->add_option("KEY", options->key, "The key")->required();
  AddOutputFile(command, "-o,--output", &options->file,
                "The file to write, in UTF-16 with byte-order mark, or in UTF-8 to standard output")
      ->capture_default_str();
  command->footer(
      "Examples:\n"
      "  orv registry export \"HKCU\\Software\\orv Printer Driver\" -o settings.reg\n"
      "  orv registry export \"HKCU\\Software\\orv Printer Driver\" | grep Log");
  command->callback([options] {
    const KeyName top = ParseKey(options->key);
    std::wstring text = RegFileHeader();
    std::vector<std::wstring> pending = {top.path};
    while (!pending.empty()) {
      const KeyName name{top.root, std::move(pending.back())};
      pending.pop_back();
      const RegistryKey key = OpenKey(name);
      std::vector<std::wstring> keys;
      std::vector<NamedRegistryValue> values;
      ReadKey(key.get(), name, &keys, &values);
      const std::wstring fullPath = name.Full();
      text += FormatRegKey(fullPath);
      for (const NamedRegistryValue& value : values) {
        RequireOneLine(fullPath, value.name);
        text += FormatRegValue(value.name, value.value);
      }
      text += L"\r\n";
      for (auto subKey = keys.rbegin(); subKey != keys.rend(); ++subKey) {
        pending.push_back(name.path.empty() ? *subKey : name.path + L"\\" + *subKey);
      }
    }
    SaveRegFile(ToWide(options->file), text);
  });
}

void AddImportCommand(CLI::App* group) {
  auto file = std::make_shared<std::string>();
  CLI::App* command =
      group->add_subcommand("import", "Apply a registry file; a file with faults changes nothing");
  AddInputFile(command, "FILE", file.get(), "The file, in UTF-16 with byte-order mark or in UTF-8")
      ->required();
  command->footer(
      "Examples:\n  orv registry import settings.reg\n  orv registry import - < settings.reg");
  command->callback([file] {
    const std::wstring path = ToWide(*file);
    std::string bytes;
    if (!ReadFile(path, &bytes)) Fail(kUnreadable, CannotRead(path));
    std::vector<RegChange> changes;
    std::vector<RegFault> faults;
    ParseRegBytes(bytes, &changes, &faults);
    for (const RegFault& fault : faults) {
      PrintMessage(Format(L"%ls:%zu: %ls", path.c_str(), fault.line, fault.message.c_str()));
    }
    if (!faults.empty()) Finish(kFindings);
    std::vector<RegistryChange> steps;
    std::vector<std::size_t> lines;
    for (RegChange& change : changes) {
      lines.push_back(change.line);
      steps.push_back(std::move(change));
    }
    std::size_t failed = 0;
    const LONG error = ChangeRegistry(steps, &failed);
    if (error == ERROR_SUCCESS) return;
    const RegistryChange& change = steps[failed];
    Fail(kUnreadable,
         Format(L"%ls:%zu: cannot change ", path.c_str(), lines[failed]) +
             FullKeyPath(change.root, change.path) + StorePart(change.root) + L": " +
             DescribeError(error) +
             AdministratorHint(change.root, error, L"settings below HKCU are your own"));
  });
}

}  // namespace

void AddRegistryCommands(CLI::App* program) {
  CLI::App* group = program->add_subcommand("registry", "The settings store");
  group->require_subcommand(1);
  group->footer(
      "Keys begin with HKCU\\ (the user's settings) or HKLM\\ (the machine's).\n\n"
      "Examples:\n"
      "  orv registry list \"HKCU\\Software\\orv Printer Driver\\Test\"\n"
      "  orv registry set \"HKCU\\Software\\orv Printer Driver\\Test\" LogLevel 15");
  AddKeyListCommand(group);
  AddGetCommand(group);
  AddSetCommand(group);
  AddDeleteCommand(group);
  AddExportCommand(group);
  AddImportCommand(group);
}

}  // namespace orv::tool
