#pragma once

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// The driver's texts and pictures: "orv_resources.dll" in the folder of this library.
///
///     const HINSTANCE resources = GetResourcesDllInstanceHandle();
///     if (resources != nullptr) Use(resources);  // on Windows, for example, with LoadStringW
///
/// The file is opened once and stays open for the life of the process; none of its code runs. On
/// Linux the handle is the address of the file's bytes. Null if it cannot be opened: the debugger
/// output then names the reason, and the next call tries again. Any thread may call.
extern "C" ORV_EXPORT HINSTANCE GetResourcesDllInstanceHandle();
