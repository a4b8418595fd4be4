#include <algorithm>
#include <optional>
#include <random>

#include "base/hex.h"
#include "base/utf8.h"
#include "orv/platform/registry.h"
#include "orv/settings/settings.h"
#include "orv/xml/markup.h"
#include "tests/devmode_fixture.h"
#include "tests/program_runs.h"

namespace {

using orv::test::ExpectDone;
using orv::test::ExpectRuns;
using orv::test::ModuleFolder;
using orv::test::ReadBytes;
using orv::test::WriteBytes;
using testing::_;
using testing::AllOf;
using testing::HasSubstr;

/// The program on a printer with its configuration, working in a folder of its own. On Windows the
/// program uses the real hives, so the printer's name is unique to this process.
class DevmodeTool : public ::testing::Test {
 protected:
  DevmodeTool() {
    orv::test::SetVariable("ORV_REGISTRY_DIR", folder_.path().string());
    printer_.emplace(orv::Utf8ToWide(name_), orv::test::kTestDriver);
  }
  ~DevmodeTool() override {
    printer_.reset();
    orv::RegistryKey printers;
    if (printers.Open(HKEY_CURRENT_USER, orv::kSettingsKey + std::wstring(L"\\UI"),
                      orv::RegistryAccess::kReadWrite) == ERROR_SUCCESS) {
      orv::DeleteRegistryTree(printers.get(), orv::Utf8ToWide(name_));
      printers.Close();
    }
    orv::test::SetVariable("ORV_REGISTRY_DIR", {});
  }

  std::string File(const char* name) { return (folder_.path() / name).string(); }
  std::string Configs() { return module_.folder().path().string(); }

  const std::string name_ = "orv test " + std::to_string(orv::test::OwnProcessId());
  orv::test::TemporaryFolder folder_;
  std::optional<orv::test::TestPrinter> printer_;
  ModuleFolder module_;
};

TEST_F(DevmodeTool, TextFormKeepsEveryByte) {
  std::mt19937 random(44);
  for (int round = 0; round < 3; ++round) {
    std::string bytes(2688, '\0');
    for (char& byte : bytes) byte = static_cast<char>(round == 0 ? 0 : random());
    if (round == 2)
      bytes.replace(1936, 80, std::string(80, '\0')).replace(1936, 7, "\0a\"\\\n\x7F\0", 7);
    WriteBytes(File("a.dev"), bytes);
    ExpectDone({"devmode", "text", File("a.dev"), "--force", "-o", File("a.txt")});
    constexpr const char* kLineEnds[] = {"\n", "\r\n", "\r"};
    std::string text;
    for (const char unit : ReadBytes(File("a.txt"))) {
      text += unit == '\n' ? kLineEnds[round] : std::string(1, unit);
    }
    WriteBytes(File("a.txt"), text);
    ExpectRuns({{{"devmode", "bytes", File("a.txt"), "--force", "-o", File("b.dev")}, 0, _},
                {{"devmode", "diff", File("a.dev"), File("a.txt")}, 0, _}});
    EXPECT_EQ(ReadBytes(File("b.dev")), bytes);
    WriteBytes(File("a.dev"), bytes.substr(1));
    ExpectRuns({{{"devmode", "show", File("a.dev")}, 1, _}});
  }
}

/// A public record of "Label 1" that states its size and the size of what follows it.
std::string PublicRecord(std::size_t size, std::size_t extra) {
  DEVMODEW record{};
  std::ranges::copy(std::wstring_view(L"Label 1"), record.dmDeviceName);
  record.dmSpecVersion = 0x401;
  record.dmSize = static_cast<WORD>(size);
  record.dmDriverExtra = static_cast<WORD>(extra);
  return {reinterpret_cast<const char*>(&record), size};
}

/// A registry file with one value of bytes, on lines that continue.
std::string RegistryFile(const std::string& name, const std::string& bytes,
                         const std::string& hive = "HKEY_CURRENT_USER") {
  std::string text = "Windows Registry Editor Version 5.00\r\n\r\n[" + hive + "\\Printers]\r\n\"" +
                     name + "\"=hex:";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text += (i == 0 ? "" : i % 20 == 0 ? ",\\\r\n  " : ",") + orv::HexOf(bytes.substr(i, 1));
  }
  return text + "\r\n";
}

TEST_F(DevmodeTool, FindsARecordInTheFilesThatContainIt) {
  ExpectDone({"devmode", "default", name_, "--config-dir", Configs(), "-o", File("a.dev")});
  const std::string record = ReadBytes(File("a.dev"));
  const std::string after = ", after the public record of \"Label 1\"";
  const std::string whole = PublicRecord(220, 2688) + record;
  const std::string older = PublicRecord(188, 2688) + record;
  const std::string value = " of \"Default DevMode\" in HKEY_CURRENT_USER\\Printers";
  const std::pair<std::string, std::string> enclosed[] = {
      {whole, "at byte 220" + after},
      {older, "at byte 188" + after},
      {"\1\2\3" + record, "at byte 3"},
      {std::string(1000, '\x7F') + whole + "rest", "at byte 1220" + after},
      {record + whole, "at byte 0\n     (not used: the one at byte 2908" + after + ")"},
      {RegistryFile("Default DevMode", whole), "at byte 220" + after + value},
      {RegistryFile("Label 1", whole, "HKEY_USERS\\S-1-5-21-1"),
       "at byte 220" + after + " of \"Label 1\" in HKEY_USERS\\S-1-5-21-1\\Printers"},
      {orv::test::Utf16Bytes(L'\uFEFF' + orv::Utf8ToWide(RegistryFile("Default DevMode", older))),
       "at byte 188" + after + value}};
  for (const auto& [bytes, place] : enclosed) {
    const std::string file = File("enclosed");
    WriteBytes(file, bytes);
    ExpectRuns({{{"devmode", "diff", file, File("a.dev")},
                 0,
                 "orv: " + file + ": the record is " + place + "\n"},
                {{"devmode", "set", file, "PrintSpeed=50"},
                 2,
                 HasSubstr("has more than the record and is not replaced")},
                {{"devmode", "set", file, "PrintSpeed=50", "-o", file}, 3, HasSubstr("--force")},
                {{"devmode", "bytes", file, "-q", "-o", file}, 3, HasSubstr("--force")}});
    EXPECT_EQ(ReadBytes(file), bytes);
  }
  // Of several records in a registry file, the doctor examines the one of the printer.
  const std::string header = "Windows Registry Editor Version 5.00\r\n\r\n";
  for (const auto& [name, key] : {std::pair(name_, std::string("Any")), {"Any", name_}}) {
    const std::string own = RegistryFile(name, record, "HKEY_CURRENT_USER\\" + key);
    WriteBytes(File("two.reg"), RegistryFile("Other", whole) + own.substr(header.size()));
    ExpectRuns({{{"doctor", name_, "--config-dir", Configs(), "--record", File("two.reg")},
                 0,
                 HasSubstr("at byte 0 of \"" + name + "\" in HKEY_CURRENT_USER\\" + key +
                           "\\Printers, one of 2: ")}});
  }
  std::string otherSize = record;
  otherSize[0] = '\1';
  const std::pair<std::string, std::string> none[] = {
      {"", "it is empty;"},
      {"hello", "5 bytes, which begin 68 65 6c 6c 6f (\"hello\");"},
      {std::string("\0\1", 2) + otherSize, "2690 bytes, which begin 00 01 01 0a 00 00"},
      {PublicRecord(220, 4) + "abcd",
       "a public record of \"Label 1\" with 4 bytes of another driver, 224 bytes in all;"},
      {whole.substr(0, whole.size() - 1),
       "a record begins at byte 220, but has only 2687 of its 2688 bytes;"},
      {RegistryFile("Default DevMode", "abcd"), "a registry file whose values contain none;"},
      {RegistryFile("Default DevMode", "abcd") + "[HKEY_USERS\\S-1",
       "contain none; line 5: the key has no closing bracket"}};
  for (const auto& [bytes, content] : none) {
    WriteBytes(File("none"), bytes);
    ExpectRuns({{{"devmode", "show", File("none")},
                 1,
                 AllOf(HasSubstr("none: no record found: "), HasSubstr(content))}});
  }
}

TEST_F(DevmodeTool, ReportsAPrinterAsOneWholePage) {
  const std::string hostile = "<script>&\"'</script>";
  const std::string escaped = "&lt;script&gt;&amp;&quot;&#39;&lt;/script&gt;";
  ExpectDone({"stock", "add", hostile, "-p", name_, "--width", "44", "--length", "33",
              "--config-dir", Configs(), "--set", "SpeedInMmPerSec=0"});
  std::string log = "05.03.2024\t14:07:09.042\tERR\tp.exe\tm.dll\tConfig\tthe first\r\n";
  for (int i = 0; i < 200; ++i)
    log += "05.03.2024\t14:07:09.043\tINF\tp\tm\t\t" + hostile + "\1\r\n";
  WriteBytes(File("a.log"), orv::test::Utf16Bytes(orv::Utf8ToWide(log)));
  WriteBytes(File("a.txt"), "# orv private settings record\nPaperWidth = 44mm\n");
  const std::string page = ORV_EXAMPLES "/label_page.png";
  ExpectRuns({{{"report",      name_,          "--config-dir", Configs(),    "--log",
                File("a.log"), "--record",     File("a.txt"),  "--defaults", name_,
                "-o",          File("r.html"), "--paper-size", "257",        "--page",
                page,          "--colour",     "E02020",       "--dpi",      "300"},
               0,
               ""}});
  const std::string html = ReadBytes(File("r.html"));
  CMarkup xml;
  EXPECT_TRUE(xml.SetDoc(orv::Utf8ToWide(html))) << orv::WideToUtf8(xml.GetError());
  for (const char* part : {"<script", "://", " src=\"h", "url("}) {
    EXPECT_EQ(html.find(part), html.npos) << part;
  }
  // The item's name, its offset in the record, a message with a control character, the reason of a
  // value, and the omitted part of the log, whose error is in the verdict.
  for (const std::string& part :
       {"<div>" + escaped + "<small>{", "From the stock item &quot;" + escaped + "&quot; (",
        "<div>" + escaped + "\\x01</div>", std::string("stock item of the paper size"),
        std::string("must be one of 50, 100, 200; falls back to printSpeeds.defaultSpeed / 1000"),
        std::string("The last 200 of 201 entries"), std::string("them there are 1 error, 0 warn"),
        std::string("</strong>The log has: the first (1 time, ")}) {
    EXPECT_NE(html.find(part), html.npos) << part;
  }
  // Both planes on paper, the black one and the coloured one.
  ExpectDone({"page", "split", page, "--colour", "E02020", "--dpi", "300", "--background",
              File("0.png"), "--highlight", File("1.png"), "--preview", File("2.png")});
  std::size_t at = 0;
  for (const char* plane : {"2.png", "0.png", "1.png"}) {
    const std::string png = ReadBytes(File(plane));
    std::string text = orv::WideToUtf8(CMarkup::EncodeBase64(
        reinterpret_cast<const unsigned char*>(png.data()), static_cast<int>(png.size())));
    std::erase_if(text, [](char sign) { return sign == '\r' || sign == '\n'; });
    at = html.find("src=\"data:image/png;base64," + text, at);
    EXPECT_NE(at, html.npos) << plane;
  }
}

TEST(PrivateRecordPage, MatchesTheTable) {
  std::string page = ReadBytes(ORV_PAGE);
  std::erase(page, '\r');
  // To update it: orv devmode fields --markdown > docs/private-record.md
  ExpectRuns({{{"devmode", "fields", "--markdown"}, 0, page}});
}

}  // namespace
