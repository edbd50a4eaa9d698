#include "ZEPUnicodeString.h"

// Constants of the configuration domain, built when the library is loaded. No operation reads
// them.

namespace {

[[maybe_unused]] const ZEPUnicodeString configurationKinds[] = {"Unset", "Conf", "Prod Conf"};

[[maybe_unused]] const ZEPUnicodeString openOptionNames[] = {
    "IncludeVariant",
    "IncludeProductStates",
    "IncludeBuilds",
    "IncludeMP",
    "IncludeDates",
    "IncludeRules",
    "IncludeImages",
    "IncludeProductConfiguration",
    "IncludeCompositionMatrix",
    "IncludexRevision",
    "IfNotAlreadyInSession",
};

[[maybe_unused]] const ZEPUnicodeString diversityDomainNames[] = {
    "Unset", "DWS", "ConfigChange", "EngineeringActivation", "Evolution", "Variant",
};

[[maybe_unused]] const ZEPUnicodeString effectivityViewNames[] = {"Unset", "Source", "Current", "Projected"};

[[maybe_unused]] const ZEPUnicodeString evolutionReviewer = "evolutionReviewer";
[[maybe_unused]] const ZEPUnicodeString notReviewer = "notReviewer";
[[maybe_unused]] const ZEPUnicodeString variantReviewer = "variantReviewer";

} // namespace
