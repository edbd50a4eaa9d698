"""Splitting and stripping in the slow, obvious way: search again from the start, cut out of the middle.

Positions count characters, so texts have to stay inside the basic plane.
"""

import re


def search(text, pattern, start):
    return text.find(pattern, max(start, 0))


def part(text, start, length):
    """The characters of the range that the text overlaps."""
    return text[max(start, 0) : max(start + length, 0)] if length > 0 else ""


def without(text, start, length):
    if length <= 0:
        return text
    return text[: max(start, 0)] + text[max(start + length, 0) :]


def quoted(text, start):
    """The text between the first two quotes from there on, and the position of the second one."""
    opening = search(text, '"', start)
    closing = search(text, '"', opening + 1)
    return part(text, opening + 1, closing - opening - 1), closing


def number(text, last):
    found = re.match(r"[ \t\n\v\f\r]*([+-]?[0-9]+)", text)
    if not found or not -(2**31) <= int(found[1]) < 2**31:
        return last
    return int(found[1])


def split(text):
    start = search(text, "<Context", 0)
    pieces = []
    if start >= 0:
        end = search(text, "</Context>", start + 18)
        while end >= 0:
            pieces.append(part(text, start, end - start + 10))
            text = without(text, start, end - start + 10)
            end = search(text, "</Context>", start + 18)
    contexts = []
    last_number = 0
    last_name = ""
    for piece in pieces:
        name, _ = quoted(piece, search(piece, "HolderName", 0))
        context = {
            "contextName": name,
            "contextExpression": text[:start] + piece + text[start:],
            "inheritedEffIds": [],
            "holderNames": [],
            "operationHandlerIds": [],
        }
        visited = set()
        position = search(piece, "InheritedEff", 0)
        while position >= 0 and position not in visited:
            visited.add(position)
            value, _ = quoted(piece, search(piece, "FilterableId", position + 14))
            last_number = number(value, last_number)
            context["inheritedEffIds"].append(last_number)
            last_name, closing = quoted(piece, search(piece, "HolderName", position + 14))
            context["holderNames"].append(last_name)
            position = search(piece, "InheritedEff", closing)
        visited = set()
        position = search(piece, "OperationHandlerId", 0)
        while position >= 0 and position not in visited:
            visited.add(position)
            value, closing = quoted(piece, position)
            last_number = number(value, last_number)
            context["operationHandlerIds"].append(last_number)
            context["holderNames"].append(last_name)
            position = search(piece, "OperationHandlerId", closing)
        contexts.append(context)
    return contexts


def strip(text):
    """The stripped text, or the error as (message,)."""
    if text == "":
        return ""
    quote = '"' if '"' in text else "'" if "'" in text else None
    if quote is None:
        return ("ERROR: no quote found!",)
    position = search(text, "Description", 0)
    if position >= 0:
        end = search(text, "/Description", 0)
        if end < 1:
            return ("ERROR: /Description not found",)
        text = without(text, position - 1, end - position + 12 + 2)
    position = search(text, "DescId", 0)
    while position >= 0:
        opening = search(text, quote, position + 6)
        closing = search(text, quote, opening + 1) if opening >= 1 else -1
        if closing < 1:
            return ("ERROR: end of DescId not found",)
        text = without(text, position, closing - position + 1)
        position = search(text, "DescId", 0)
    return text
