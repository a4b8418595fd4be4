#pragma once

#include <pappl/pappl.h>

#include "tools/printer_app/driver.h"

/// What goes to the printer, and the device that PAPPL does not have: `orvdir:///PATH`, a folder
/// that receives files.

namespace orv::printer_app {

/// Adds the scheme to PAPPL's.
void AddFolderDevice();

/// Sends a page to the device of a job: each plane as a PNG image, as the record's output format
/// says; to a folder also the record's fields as JSON. Throws if the device does not take it. The
/// command language of a printer belongs here.
void SendPage(pappl_job_t* job, pappl_device_t* device, const PrintedLabel& page);

}  // namespace orv::printer_app
