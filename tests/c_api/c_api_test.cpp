/// The same calls from C++.
#include "c_api_test.c"  // NOLINT(bugprone-suspicious-include)
