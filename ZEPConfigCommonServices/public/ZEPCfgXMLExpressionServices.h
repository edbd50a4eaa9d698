#pragma once

#include "ExportedByZEPCfgCommonServices.h"

class ZEPListValZEPCfgContextExpression;
class ZEPListValZEPUnicodeString;
class ZEPOmxAny;
class ZEPUnicodeString;

// Services on effectivity expressions in XML. Every operation returns a result code: a value that
// is not negative is a success. Exceptions of the platform pass through to the caller.
class ExportedByZEPCfgCommonServices ZEPCfgXMLExpressionServices {
public:
  // Splits an expression into its contexts. It works by searches on the text and checks nothing:
  // what is missing in a malformed text gives empty or odd values, and a walk over such a text ends
  // where it comes to a place for the second time.
  //
  // iExpression  the expression, XML text
  // oContexts    one element for each context is appended, in the order of the text; what it holds
  //              already stays in front
  //
  // Always S_OK.
  static long SplitByContext(const ZEPUnicodeString& iExpression,
                             ZEPListValZEPCfgContextExpression& oContexts);

  // Gives the expression without its first "Description" element and without any "DescId"
  // attribute, by searches on the text.
  //
  // in_XMLExpression   the expression, XML text
  // out_XMLExpression  the cleaned text (empty for an empty one); empty after a failure. May be the
  //                    same object as in_XMLExpression.
  //
  // S_OK    the text is cleaned
  // E_FAIL  the text holds no quote at all, or an element or attribute does not end
  static long RemoveDescription(const ZEPUnicodeString& in_XMLExpression,
                                ZEPUnicodeString& out_XMLExpression);

  // Writes the filter expression that selects everything.
  //
  // iHolderName  the model whose context it stands in; empty: it stands in none
  // oExpression  the expression, XML text; untouched on every failure
  //
  // A success is the XML writer's code; a failure is that of the writer's call that failed.
  static long GenerateFilterExpressionTrue(const ZEPUnicodeString& iHolderName,
                                           ZEPUnicodeString& oExpression);

  // Tells from a stylesheet file how its output is to be decoded. Only the first line that holds
  // "xsl:output" is looked at.
  //
  // in_XSLFilePath  path of the file
  //
  // S_FALSE   that line mentions "utf-8" in any letter case
  // S_OK      it does not, or there is no such line: the output is UTF-16
  // E_FAIL    the path is empty, or the file cannot be read
  static long IsEncodingUTF16(ZEPUnicodeString in_XSLFilePath);

  // Turns one effectivity expression into its display text by an XSLT stylesheet: the custom file
  // if there is one, else the server's stylesheet, else the file of the user's setting
  // (EffeCustoFilePathSetting / EffCustoPath), else the first one found under the roots of
  // ZEPInstallPath.
  //
  // in_xmlExpression         the expression, XML text
  // out_formattedExpression  the display text; as the caller passed it on every failure, and where
  //                          nothing was formatted
  // in_customXSLFile         path of a stylesheet; empty or missing: the next candidate is taken
  // in_compactView           non-zero sets the stylesheet's parameter "CompactView" to "TRUE"
  //
  // S_OK                 formatted; or nothing was: no stylesheet exists, or the platform gave no
  //                      output source or no bytes
  // S_FALSE              the expression is empty, or no stylesheet exists and none was asked of a
  //                      server
  // E_FAIL               the user's setting is "debug", or the platform gave no object otherwise
  // other failure codes  that of the platform's service that failed
  //
  // Several threads may call it at once, once the server's stylesheet is there (see
  // GetConfigExpressionXSLT).
  static long FormatExpression(const ZEPUnicodeString& in_xmlExpression,
                               ZEPUnicodeString& out_formattedExpression,
                               const ZEPUnicodeString& in_customXSLFile, const unsigned char& in_compactView);

  // The stylesheet that the server supplies. It is asked for until it answered with one, which is
  // kept as long as the library is loaded. Not for several threads at once.
  //
  // ioUstrXSLTFileContents  receives the stylesheet; untouched when the server was not asked,
  //                         could not be asked or answered with nothing. An answer without a
  //                         stylesheet leaves it too, and what the caller passed in is then kept
  //                         in the stylesheet's place.
  //
  // S_OK                 delivered, or the server answered with nothing
  // S_FALSE              the session's provider has no server that supplies one
  // other failure codes  that of the web-service call, of the JSON parser or ParseQueryResponse
  static long GetConfigExpressionXSLT(ZEPUnicodeString& ioUstrXSLTFileContents);

  // Picks the stylesheet out of the server's answer {"xslt":{"content":"..."}}.
  //
  // iResponse  the answer, as the JSON parser gave it
  // oXSLT      the text of "content"; empty when "xslt" has no such member; untouched when the answer
  //            has no member "xslt"
  //
  // S_OK, or the code with which the member "content" could not be read.
  static long ParseQueryResponse(const ZEPOmxAny& iResponse, ZEPUnicodeString& oXSLT);

  // A formatting sequence prepares the stylesheet once for many expressions: Start once,
  // ExpressionFormatting any number of times, End once. One sequence at a time, on one thread.
  //
  //     closed --Start--> open --ExpressionFormatting--> open --End--> closed
  //
  // Start on an open sequence begins a new one, End on a closed one does nothing.

  // Chooses the stylesheet as FormatExpression does, except that a failed fetch from the server
  // ends it, and keeps what is needed to apply it. Once a stylesheet file with UTF-8 output was
  // used, the output of every later sequence is decoded as UTF-8.
  //
  // in_customXSLFile  path of a stylesheet; empty or missing: the next candidate is taken
  //
  // S_OK, S_FALSE        open, or no stylesheet exists and nothing is open
  // E_FAIL               the user's setting is "debug", or the platform gave no object
  // other failure codes  that of the service that failed; what was made before it is kept until
  //                      the next Start or End
  static long StartExpressionFormatting(const ZEPUnicodeString& in_customXSLFile);

  // Formats one expression. Raises ZEPErrorNullVar when no sequence is open, unless the expression
  // is empty.
  //
  // in_xmlExpression         the expression, XML text
  // out_formattedExpression  the display text; untouched on every failure, for an empty expression,
  //                          and where the platform gave no bytes
  // in_compactView           non-zero sets the stylesheet's parameter "CompactView" to "TRUE", which
  //                          stays until the sequence ends
  //
  // S_OK                 formatted, or the platform gave no bytes
  // S_FALSE              the expression is empty
  // E_FAIL               the platform gave no object
  // other failure codes  that of the service that failed
  //
  // The sequence stays open after each of these.
  static long ExpressionFormatting(const ZEPUnicodeString& in_xmlExpression,
                                   ZEPUnicodeString& out_formattedExpression,
                                   const unsigned char& in_compactView);

  // Releases what the sequence kept. Always S_OK.
  static long EndExpressionFormatting();

  // Formats a list of expressions in one sequence.
  //
  // in_xmlExpressions         XML texts, of which any may be empty
  // out_formattedExpressions  one text for each expression is appended, an empty one for an empty
  //                           expression
  // in_customXSLFile          as for StartExpressionFormatting
  // in_compactView            has no effect: a batch is never compact
  //
  // S_OK           every expression is formatted
  // S_FALSE        the list is empty
  // failure codes  that of the operation that failed; the texts made before it stay appended, and
  //                after a failing expression the sequence stays open
  static long FormatExpressions(const ZEPListValZEPUnicodeString& in_xmlExpressions,
                                ZEPListValZEPUnicodeString& out_formattedExpressions,
                                const ZEPUnicodeString& in_customXSLFile,
                                const unsigned char& in_compactView);
};
