#pragma once

namespace orv::tool {

/// The style sheet of a report: light or dark as the reader likes it, for wide and narrow screens
/// and for paper. Holds nothing that markup would read as its own.
extern const char kReportStyle[];

}  // namespace orv::tool
