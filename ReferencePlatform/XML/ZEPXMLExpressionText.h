#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zep {

// The functions that stand for operators. A stylesheet that calls one itself finds it unknown.
constexpr char kUnionFunction[] = "zep_operator_union";
constexpr char kEqualFunction[] = "zep_operator_equal";
constexpr char kNotEqualFunction[] = "zep_operator_not_equal";
constexpr char kLessFunction[] = "zep_operator_less";
constexpr char kLessOrEqualFunction[] = "zep_operator_less_or_equal";
constexpr char kGreaterFunction[] = "zep_operator_greater";
constexpr char kGreaterOrEqualFunction[] = "zep_operator_greater_or_equal";

// A path is cut where a step may come to a node from several others. Its value is that of the first, which
// has one argument for each such step; each goes through the nodes that were collected before, and collects:
//   a//b/..  ->  path(begin(),(a)[collect(.//b)],next()[collect(..)])
constexpr char kPathFunction[] = "zep_operator_path";
constexpr char kBeginFunction[] = "zep_operator_begin";
constexpr char kCollectFunction[] = "zep_operator_collect";
constexpr char kNextFunction[] = "zep_operator_next";

// Where none of these stands, there is nothing to change.
constexpr char kSignsOfOperators[] = "/|=<>_";

// Whether libxml2 takes a text as an expression.
using XMLExpressionTest = bool (*)(std::string_view);

// The text of an XPath expression with calls of these functions in place of those operators that may meet
// two large sets of nodes, or find many nodes again and again. Nothing if it has none. What is no expression
// stays as it is, so that what is said of it names what its author wrote. What libxml2 takes although it is
// none (a call without an end) becomes a text that it does not take.
std::optional<std::string> WithFunctionsForOperators(std::string_view expression,
                                                     XMLExpressionTest isExpression);

// The same for what stands in the predicates of a pattern, and in the braces of an attribute.
std::optional<std::string> PatternWithFunctionsForOperators(std::string_view pattern,
                                                            XMLExpressionTest isExpression);
std::optional<std::string> AttributeWithFunctionsForOperators(std::string_view value,
                                                              XMLExpressionTest isExpression);

} // namespace zep
