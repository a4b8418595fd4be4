#pragma once

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// The library of resources, "orv_resources.dll" in the folder of this library: the driver's texts
/// and pictures. It is opened once and stays open for the life of the process; only its resources
/// are used, nothing in it is run. On Linux the handle is the address of the file's bytes.
///
/// Null when it cannot be opened: the debugger output then says why, and the next call tries again.
/// Without a lock: threads that call at the same time may open it twice, which does no harm.
extern "C" ORV_EXPORT HINSTANCE GetResourcesDllInstanceHandle();
