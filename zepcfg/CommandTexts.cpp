#include "CommandTexts.h"

#include <algorithm>
#include <stdexcept>

namespace zep::cli {
namespace {

using enum Concern;

const std::string streamDetails =
    "With --jsonl it works on a stream: each input line is an expression as a JSON string, or an object "
    "with \"expression\" and any \"id\", which is handed through. One object is written for each line, in "
    "order and as soon as it is known. A line that fails gives an object with its failure, and the stream "
    "goes on.";

const std::vector<CommandText>& texts() {
  static const std::vector<CommandText> all{
      {"",
       "display text, filters, stylesheets and web services of configuration expressions",
       {"The result goes to standard output, everything else to standard error. Texts are UTF-8. Where a "
        "command reads a file, - stands for standard input.",
        "With --json a command writes one JSON object. It holds \"hresult\", the result code as a signed "
        "32-bit number, and \"result\", its name; a failure has an object too, with \"error\", "
        "\"message\", \"input\", \"operation\" and \"remedy\".",
        "A failure names its input, the operation, the result code, what was reported, and the remedy.",
        "Without a URL no server is asked for anything."},
       {{"", "zepcfg format samples/one-feature.xml"}, {"Find out what is wrong:", "zepcfg doctor"}},
       "the answer is no (includes), or something was found (stylesheet check)",
       {stylesheets, server, transformation, filters, trace, terminal}},
      {"format",
       "display text of expressions",
       {"Turns expressions in XML into display text. An expression is read as an XML processor reads it: a "
        "byte-order mark decides about its encoding, else the XML declaration, else it is UTF-8.",
        "The stylesheet is the one that --stylesheet names, else the server's, else that of the user's "
        "setting, else the installed one; zepcfg-stylesheet(1) says which one that is.",
        "Several files are formatted with one prepared stylesheet and printed one after the other. The "
        "first one that fails ends it, with nothing printed.",
        streamDetails},
       {{"", "zepcfg format --compact samples/two-contexts.xml"},
        {"Several files at once, as one JSON object:",
         "zepcfg format --json samples/one-feature.xml samples/always.xml"},
        {"A stream, on four processes:", "zepcfg format --jsonl --jobs 4 < expressions.jsonl"}},
       "",
       {stylesheets, server, transformation, trace}},
      {"split",
       "one expression for each context",
       {"Prints one expression for each context of the expression: the whole text with that context alone.",
        streamDetails},
       {{"", "zepcfg split samples/two-contexts.xml"}},
       "",
       {trace}},
      {"strip",
       "the expression without its description",
       {"Prints the expression without its Description element and its DescId attributes.", streamDetails},
       {{"", "zepcfg strip samples/described.xml"}},
       "",
       {trace}},
      {"always-true",
       "the filter expression that selects everything",
       {"Prints the filter expression that selects everything, for one model or for all."},
       {{"", "zepcfg always-true --model Heron"}},
       "",
       {trace}},
      {"compile",
       "an expression into its compiled form",
       {"Turns an expression into the compiled form that filters are compared in. The same expression "
        "always gives the same bytes. They go to the file of --output, or to standard output unless that "
        "is a terminal.",
        "With --json, which needs --output, the object holds \"terms\", the number of alternatives in the "
        "disjunctive normal form, and \"bytes\"."},
       {{"", "zepcfg compile samples/units.xml -o units.zepfilter"}},
       "",
       {filters, trace}},
      {"includes",
       "whether everything that filter A selects is selected by filter B",
       {"Says yes or no. Both filters are compiled files or expressions in XML, which are compiled on the "
        "way; one of them may be - for standard input.",
        "With --explain a no is followed by a configuration that A selects and B does not."},
       {{"", "zepcfg includes --explain samples/always.xml samples/one-feature.xml"}},
       "the answer is no",
       {filters, trace}},
      {"call",
       "one web-service call",
       {"Makes one call of the server's web services and prints the body of the answer: byte for byte, or, "
        "on a terminal, with each member on a line of its own."},
       {{"", "zepcfg --url http://127.0.0.1:8080 --context Reader call POST /echo --data '{\"a\":1}'"}},
       "",
       {server, trace}},
      {"ids",
       "identifier texts for a web-service request",
       {"Prints the texts by which a web-service request names these objects, one line for each: the "
        "logical identifier of a configuration feature, the physical one of every other object."},
       {{"", "zepcfg ids ConfigurationFeature:Engine:4F2A91C0 Part:Door:7B6E"}},
       "",
       {trace}},
      {"stylesheet",
       "which stylesheet would be used, and why",
       {"Says which stylesheet zepcfg-format(1) would use when none is named, candidate by candidate: the "
        "server's, that of the user's setting, the installed one."},
       {{"", "zepcfg stylesheet"}, {"What stands in it:", "zepcfg stylesheet --print"}},
       "",
       {stylesheets, server, trace}},
      {"stylesheet check",
       "whether a stylesheet compiles, and what in it would surprise",
       {"Says whether a stylesheet compiles, how its output would be decoded, and what in it would surprise "
        "its author, each with its line and a remedy: an output encoding where it is not looked for, "
        "instructions that are refused or not known, what has no effect on a text.",
        "The output of a stylesheet from a server is always decoded as UTF-16, and such a stylesheet may "
        "include nothing: --server checks a file for that use."},
       {{"", "zepcfg stylesheet check resources/xsl/CfgEffectivityDisplay.xsl"},
        {"Before it is put on a server:", "zepcfg stylesheet check --server mine.xsl"}},
       "something was found",
       {transformation, trace}},
      {"trace",
       "a trace file as a tree of calls",
       {"Shows what ZEP_TRACE_FILE or --trace=FILE collected, in either form: each call with its time and "
        "its result, and below it what happened inside. What failed is marked. The calls of each process "
        "and thread stand together; a call is shown when it has ended.",
        "Lines that are no trace records are skipped and reported on standard error; the exit status is then 2."},
       {{"", "zepcfg trace web.trace"},
        {"Only what failed:", "zepcfg trace --failures web.trace"},
        {"While it grows:", "tail -f web.trace | zepcfg trace"}},
       "",
       {terminal}},
      {"doctor",
       "what the environment, settings, installation and server look like",
       {"Looks at the environment, the settings, the installation and the server, and says what to do about "
        "each fault. A server that does not answer is given up after ten seconds, unless the environment "
        "says otherwise. A note is no fault."},
       {{"", "zepcfg doctor"},
        {"With a server:", "zepcfg --url https://plm.example --context Reader doctor"}},
       "",
       {stylesheets, server, transformation, filters, trace, terminal}},
  };
  return all;
}

} // namespace

const CommandText& commandText(const std::string& command) {
  const auto found = std::find_if(texts().begin(), texts().end(),
                                  [&command](const CommandText& text) { return command == text.command; });
  if (found == texts().end()) {
    throw std::logic_error("nothing is said about " + command);
  }
  return *found;
}

} // namespace zep::cli
