#pragma once

#include "ZEPFilterCondition.h"

#include <libxml/tree.h>

namespace zep {

// Reads an expression of the vocabulary (docs/expression-vocabulary.md). Throws FilterFault, with the
// line, for anything that is not of the vocabulary.
FilterDocument ReadFilterDocument(const xmlDoc& document);

} // namespace zep
