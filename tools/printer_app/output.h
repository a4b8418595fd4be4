#pragma once

#include <pappl/pappl.h>

#include <string>

#include "orv/platform/graphics.h"
#include "tools/orv/page/pixels.h"
#include "tools/printer_app/driver.h"

/// What goes to the printer.

namespace orv::printer_app {

/// Encodes an image as PNG; throws an exception if it cannot.
std::string PngBytes(Bitmap* image, const tool::Resolution& resolution);

/// Sends a page to a device: each plane as a PNG image, as the record's output format says; to a
/// folder also the record's fields as JSON. False, with the reason in `*problem`, on failure. The
/// command language of a printer belongs here.
bool SendPage(pappl_device_t* device, const char* uri, const PrintedLabel& page,
              std::string* problem);

}  // namespace orv::printer_app
