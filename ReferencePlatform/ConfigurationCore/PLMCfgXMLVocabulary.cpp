#include "PLMCfgXMLVocabulary.h"

const char* const CFG_NAMESPACE = "urn:zep:configuration-expression";
const char* const VAL_XML_NAMESPACE = "http://www.w3.org/2001/XMLSchema-instance";
const char* const ATTRIBUTE_XML_NAMESPACE = "xmlns:xsi";
const char* const ATTRIBUTE_NAMESPACE = "xmlns";
const char* const ATTRIBUTE_SCHEMA_LOCATION = "xsi:schemaLocation";
const char* const FILTEREXPR_SCHEMA_LOCATION = "urn:zep:configuration-expression ConfigurationExpression.xsd";
const char* const FILTEREXPR_ELEMENT_ROOT = "FilterExpression";
const char* const ELEMENT_FILTERSELECTION = "FilterSelection";
const char* const ATTR_SELECTIONMODE = "SelectionMode";
const char* const VAL_STRICT = "Strict";
const char* const ELEMENT_CONTEXT = "Context";
const char* const ATTR_HOLDER_TYPE = "HolderType";
const char* const ATTR_HOLDER_NAME = "HolderName";
const char* const VAL_MODEL = "Model";
const char* const ELEMENT_BOOLEAN = "Boolean";
const char* const VAL_TRUE = "true";
