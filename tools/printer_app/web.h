#pragma once

#include <pappl/pappl.h>

#include <string>

/// The web page of a printer's last label.

namespace orv::printer_app {

/// Adds the page to a printer and returns its path.
std::string AddWebPages(pappl_printer_t* printer);

/// The command of the orv program whose results the page shows. It ends the use of the settings in
/// its process, so the server starts this program again for it.
inline constexpr char kDoctorCommand[] = "doctor";

}  // namespace orv::printer_app
