#pragma once

#include <pappl/pappl.h>

#include <string>

#include "tools/printer_app/driver.h"

/// What goes to the printer, and the device that PAPPL does not have: `orvdir:///PATH`, a folder
/// that receives files.

namespace orv::printer_app {

/// Adds the scheme to PAPPL's.
void AddFolderDevice();

/// Sends a page to a device: each plane as a PNG image, as the record's output format says; to a
/// folder also the record's fields as JSON. False, with the reason in `*problem`, on failure. The
/// command language of a printer belongs here.
bool SendPage(pappl_device_t* device, const char* uri, const PrintedLabel& page,
              std::string* problem);

}  // namespace orv::printer_app
