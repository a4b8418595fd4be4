#pragma once

#include <pappl/pappl.h>

#include <string>

#include "orv/platform/graphics.h"
#include "tools/orv/page/planes.h"
#include "tools/printer_app/job_record.h"

/// What goes to the printer.

namespace orv::printer_app {

/// A page that is ready to print.
struct OutputPage {
  int jobId;
  unsigned number;  ///< from 1
  int copies;
  double dpiX;
  double dpiY;
  const JobRecord& job;
  const tool::Planes& planes;  ///< one bit per pixel; the highlight may be null
};

/// Sends a page to a device: each plane as a PNG image, as the record's output format says; to a
/// folder also the record's fields as JSON. False, with the reason in `*problem`, on failure. The
/// command language of a printer belongs here.
bool SendPage(pappl_device_t* device, const char* uri, const OutputPage& page,
              std::string* problem);

/// An image as a PNG file; empty if memory or the space for a temporary file runs out.
std::string PngBytes(Bitmap* image, double dpiX, double dpiY);

}  // namespace orv::printer_app
