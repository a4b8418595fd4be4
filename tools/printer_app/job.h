#pragma once

#include <pappl/pappl.h>

/// Jobs: rows of raster become a page, and the page becomes planes.

namespace orv::printer_app {

/// Makes the server print PNG images by a function of this program.
void AddPngFilter(pappl_system_t* system);

/// Sets the callbacks that print raster documents and images.
void SetJobCallbacks(pappl_pr_driver_data_t* data);

}  // namespace orv::printer_app
