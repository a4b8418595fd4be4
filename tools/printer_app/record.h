#pragma once

#include <pappl/pappl.h>

#include <string>
#include <vector>

#include "orv/devmode/oemdev.h"
#include "orv/platform/graphics.h"

/// A job's options as the records that the library merges.

namespace orv::printer_app {

struct Queue;

/// The vendor options that are not fields of the record: the second print colour as six hexadecimal
/// digits, the largest distance from it that belongs to it, in thousandths, and further fields as
/// "Name = value; Name = value".
inline constexpr char kColourOption[] = "highlight-colour";
inline constexpr char kToleranceOption[] = "highlight-tolerance";
inline constexpr char kFieldsOption[] = "record-fields";
inline constexpr char kUsualColour[] = "E02020";
inline constexpr int kUsualTolerance = 470;
inline constexpr int kMaxTolerance = 1000;

/// The settings of a job.
struct JobRecord {
  int id = 0;
  std::string name;
  int copies = 1;
  tagOEMDEV record{};
  std::string stockItem;              ///< its name; empty without one
  std::string corrections;            ///< by the merge, such as "PrintSpeed:90->75"
  std::vector<std::string> problems;  ///< options and settings that cannot be used
  bool isTwoColour = false;
  Color colour;
  double tolerance = 0;
};

/// Merges a job's options with the printer's defaults and corrects the result.
JobRecord MergeJob(pappl_job_t* job, const pappl_pr_options_t& options, Queue* queue);

}  // namespace orv::printer_app
