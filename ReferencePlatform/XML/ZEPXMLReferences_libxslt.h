#pragma once

#include <libxml/xpath.h>

namespace zep {

// id() and key() as libxml2 and libxslt have them, but in linear time: theirs compare each node that they
// find with all that they found before.
void FindById(xmlXPathParserContextPtr parser, int argumentCount);
void FindByKey(xmlXPathParserContextPtr parser, int argumentCount);

} // namespace zep
