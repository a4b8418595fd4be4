#pragma once

#include <pappl/pappl.h>

#include <string>

/// The web page of a printer's last label.

namespace orv::printer_app {

/// Adds the page to a printer and returns its path.
std::string AddWebPages(pappl_printer_t* printer);

/// The command that prints the checks of `orv doctor`. The server runs them in a process of their
/// own, because they end access to the settings in their process.
inline constexpr char kDoctorCommand[] = "doctor";
int PrintDoctor(const char* printerName);

}  // namespace orv::printer_app
