#include "ExportedByZEPCfgCommonServices.h"

// Marks the library for whoever looks into its file; nothing calls it.
extern "C" ExportedByZEPCfgCommonServices int VORTELLA_LABS_PXR4_INTERNAL_ZEPCfgCommonServices() {
  return 1;
}
