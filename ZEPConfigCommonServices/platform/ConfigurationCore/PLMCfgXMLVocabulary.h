#pragma once

#include "ZEPPlatformExport.h"

// The XML vocabulary of filter expressions.
ZEP_PLATFORM_API extern const char* const CFG_NAMESPACE;
ZEP_PLATFORM_API extern const char* const VAL_XML_NAMESPACE;
ZEP_PLATFORM_API extern const char* const ATTRIBUTE_XML_NAMESPACE;
ZEP_PLATFORM_API extern const char* const ATTRIBUTE_NAMESPACE;
ZEP_PLATFORM_API extern const char* const ATTRIBUTE_SCHEMA_LOCATION;
ZEP_PLATFORM_API extern const char* const FILTEREXPR_SCHEMA_LOCATION;
ZEP_PLATFORM_API extern const char* const FILTEREXPR_ELEMENT_ROOT;
ZEP_PLATFORM_API extern const char* const ELEMENT_FILTERSELECTION;
ZEP_PLATFORM_API extern const char* const ATTR_SELECTIONMODE;
ZEP_PLATFORM_API extern const char* const VAL_STRICT;
ZEP_PLATFORM_API extern const char* const ELEMENT_CONTEXT;
ZEP_PLATFORM_API extern const char* const ATTR_HOLDER_TYPE;
ZEP_PLATFORM_API extern const char* const ATTR_HOLDER_NAME;
ZEP_PLATFORM_API extern const char* const VAL_MODEL;
ZEP_PLATFORM_API extern const char* const ELEMENT_BOOLEAN;
ZEP_PLATFORM_API extern const char* const VAL_TRUE;
