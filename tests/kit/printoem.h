#pragma once

/// The declarations of the driver kit's header of this name that clash most easily with those of
/// the library, in the same form.

typedef struct _OEMDMPARAM {
  DWORD cbSize;
  PVOID pdriverobj;
  HANDLE hPrinter;
  HANDLE hModule;
  PDEVMODEW pPublicDMIn;
  PDEVMODEW pPublicDMOut;
  PVOID pOEMDMIn;
  PVOID pOEMDMOut;
  DWORD cbBufSize;
} OEMDMPARAM, *POEMDMPARAM;

#define OEMDM_SIZE 1
#define OEMDM_DEFAULT 2
#define OEMDM_CONVERT 3
#define OEMDM_MERGE 4
