#include "tools/orv/config/check.h"

#include "base/utf8.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/check_rules.h"

namespace orv::tool {
const wchar_t* NameOf(Severity severity) {
  return severity == Severity::kError ? L"error" : L"warning";
}

std::string RuleAsText(const CheckRule& rule) {
  std::wstring text = std::wstring(rule.name) + L" (" + NameOf(rule.severity) + L"): " +
                      rule.summary + L"\n\n" + Wrapped(rule.explanation, L"  ", 86);
  const std::wstring_view examples[] = {rule.wrong, rule.right};
  const wchar_t* const titles[] = {L"\n  wrong:  ", L"  right:  "};
  for (int i = 0; i < 2; ++i) {
    if (!examples[i].empty()) text.append(titles[i]).append(examples[i]).append(L"\n");
  }
  return WideToUtf8(text);
}

std::string RulesAsText() {
  Table table({L"RULE", L"SEVERITY", L"FINDS"});
  for (const CheckRule& rule : kCheckRules) {
    table.Add({std::wstring(rule.name), NameOf(rule.severity), rule.summary});
  }
  return table.TakeText() + "\norv config check --explain RULE explains one of them.\n";
}

std::string RulesAsJson(const CheckRule* only) {
  JsonWriter json;
  json.BeginArray();
  for (const CheckRule& rule : kCheckRules) {
    if (only != nullptr && only != &rule) continue;
    json.BeginObject();
    json.Member("rule", rule.name);
    json.Member("severity", NameOf(rule.severity));
    json.Member("summary", rule.summary);
    json.Member("explanation", rule.explanation);
    json.Member("wrong", rule.wrong);
    json.Member("right", rule.right);
    json.EndObject();
  }
  json.EndArray();
  return json.Text();
}

std::string RulesAsMarkdown() {
  std::wstring text =
      L"# Rules for configuration files\n\n"
      L"What `orv config check` finds. An error keeps a file from loading; with a warning it\n"
      L"loads, but probably not as intended. This page is printed by\n"
      L"`orv config check --explain all --markdown`; what the keys mean is in\n"
      L"[configuration-file.md](configuration-file.md).\n\n"
      L"A finding is one line: `FILE:LINE:COLUMN: SEVERITY[RULE]: TEXT`, then ` | allowed: ` with\n"
      L"what is allowed there and ` | write: ` with what to write instead, `nothing` to remove\n"
      L"it. Lines and columns count from 1. XML errors come first, causes before consequences,\n"
      L"then the other findings in the order of the file.\n\n"
      L"The exit code is 0 without errors, 1 with any, and 3 when a file could not be read. With\n"
      L"`--strict` warnings count like errors.\n\n"
      L"`--json` prints an array with one object per finding:\n\n"
      L"| member | type | meaning |\n"
      L"|---|---|---|\n"
      L"| `file` | text | the path as it was given |\n"
      L"| `line`, `column` | number | the position, from 1; columns in UTF-16 code units |\n"
      L"| `severity` | text | `error` or `warning` |\n"
      L"| `rule` | text | the rule's name |\n"
      L"| `text` | text | what is wrong |\n"
      L"| `allowed` | text | what is allowed there |\n"
      L"| `write` | text | what to write instead; `nothing` to remove it |\n\n"
      L"With `--explain` the objects are rules: `rule`, `severity`, `summary`, `explanation`, "
      L"`wrong`\n"
      L"and `right`, an example.\n\n"
      L"## Allowing findings\n\n"
      L"`--ignore RULE` leaves out a warning for one run. A comment in the file leaves it out\n"
      L"permanently, on the lines of the comment and the next line, or in the whole file if the\n"
      L"comment is before the root element:\n\n"
      L"```xml\n"
      L"<!-- orv-check: allow default-not-offered -->\n"
      L"<property name=\"ribbonSaverByDefault\">true</property>\n"
      L"```\n\n"
      L"Errors cannot be allowed. A comment that allows a rule without findings is\n"
      L"reported.\n";
  for (const Severity severity : {Severity::kError, Severity::kWarning}) {
    text += severity == Severity::kError ? L"\n## Errors\n" : L"\n## Warnings\n";
    for (const CheckRule& rule : kCheckRules) {
      if (rule.severity != severity) continue;
      std::wstring explanation = Wrapped(rule.explanation, L"", 100);
      for (std::size_t at = 0; (at = explanation.find_first_of(L"<&", at)) != explanation.npos;
           at += 2) {
        explanation.insert(at, L"\\");
      }
      text += L"\n### " + std::wstring(rule.name) + L"\n\n" + rule.summary + L".\n\n" + explanation;
      if (*rule.wrong == L'\0') continue;
      text += L"\n```\nwrong:  " + std::wstring(rule.wrong) + L"\n";
      if (*rule.right != L'\0') text += L"right:  " + std::wstring(rule.right) + L"\n";
      text += L"```\n";
    }
  }
  return WideToUtf8(text);
}

}  // namespace orv::tool
