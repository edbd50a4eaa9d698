#pragma once

#include "ZEPPlatformExport.h"

// The XML vocabulary of filter expressions: zero-terminated UTF-8, none of them null.

ZEP_PLATFORM_API extern const char* const CFG_NAMESPACE;           // the namespace of expressions
ZEP_PLATFORM_API extern const char* const VAL_XML_NAMESPACE;       // the namespace of schema instances
ZEP_PLATFORM_API extern const char* const ATTRIBUTE_XML_NAMESPACE; // the attribute that names the latter
ZEP_PLATFORM_API extern const char* const ATTRIBUTE_NAMESPACE;     // the attribute for the default namespace
ZEP_PLATFORM_API extern const char* const ATTRIBUTE_SCHEMA_LOCATION;  // the attribute that names the schema
ZEP_PLATFORM_API extern const char* const FILTEREXPR_SCHEMA_LOCATION; // its value: namespace, file
ZEP_PLATFORM_API extern const char* const FILTEREXPR_ELEMENT_ROOT;    // the document's element
ZEP_PLATFORM_API extern const char* const ELEMENT_FILTERSELECTION;    // the element around what is selected
ZEP_PLATFORM_API extern const char* const ATTR_SELECTIONMODE;         // its attribute for the mode
ZEP_PLATFORM_API extern const char* const VAL_STRICT;                 // the mode "strict"
ZEP_PLATFORM_API extern const char* const ELEMENT_CONTEXT;  // the element around one holder's expression
ZEP_PLATFORM_API extern const char* const ATTR_HOLDER_TYPE; // its attribute for the holder's type
ZEP_PLATFORM_API extern const char* const ATTR_HOLDER_NAME; // its attribute for the holder's name
ZEP_PLATFORM_API extern const char* const VAL_MODEL;        // the holder type "model"
ZEP_PLATFORM_API extern const char* const ELEMENT_BOOLEAN;  // the element of a constant
ZEP_PLATFORM_API extern const char* const VAL_TRUE;         // its content for "always"
