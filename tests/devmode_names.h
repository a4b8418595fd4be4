#pragma once

namespace orv::test {

/// The driver of a printer that offers every setting and has three families with a default option,
/// and the name of its configuration file.
inline constexpr wchar_t kTestDriver[] = L"ORV-LX 4.3/300P+";
inline constexpr wchar_t kTestConfigName[] = L"orv_conf_lx43300pp.xml";

}  // namespace orv::test
