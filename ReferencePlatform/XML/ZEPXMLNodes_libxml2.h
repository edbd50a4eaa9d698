#pragma once

#include <libxml/parser.h>

namespace zep {

// Frees a document, and leaves its nodes to the parser that it comes from, which takes nodes for the
// next document from there. A parser that has thousands of nodes in store gets no more.
void RecycleDocument(xmlParserCtxtPtr parser, xmlDocPtr document);

// Frees the nodes in store beyond a few.
void ShrinkNodeStore(xmlParserCtxtPtr parser);

} // namespace zep
