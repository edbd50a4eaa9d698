#include "ZEPXMLXSLTransformerOptions.h"

const ZEPUnicodeString ZEPXMLXSLTransformerOptions::OutputFormat("OutputFormat");
