#!/usr/bin/env python3
"""Writes the two large samples beside this script, or into the folder given. The same bytes every time."""

import itertools
import pathlib
import sys

HEAD = """<?xml version="1.0" encoding="UTF-8"?>
<EffectivityExpression xmlns="urn:zep:configuration-expression"
                       xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
                       xsi:schemaLocation="urn:zep:configuration-expression ConfigurationExpression.xsd">
"""
TAIL = "</EffectivityExpression>\n"

FEATURES = {
    "Engine": ["Diesel 2.0", "Diesel 3.0", "Petrol 2.0", "Hybrid", "Electric"],
    "Gearbox": ["Manual", "Automatic", "Single speed"],
    "Market": ["EU", "UK", "Norway", "Japan", "Brazil", "Australia"],
    "Цвет": ["белый", "чёрный", "красный"],
    "座席": ["布", "革", "電動"],
    "Sign": ["🅰", "🅱", "🆎"],
}
LABELS = {
    "Engine": "Drive unit",
    "Market": "Country of registration",
    "座席": "座席の表皮",
    "Sign": "Group 🏷",
}
HOLDERS = ["Kestrel", "Heron", "Meridian", "Пустельга", "隼", "𝔐𝔢𝔯𝔩𝔦𝔫"]


def feature(number):
    """One feature with one to three neighbouring values."""
    name = list(FEATURES)[number % len(FEATURES)]
    values = FEATURES[name]
    count = 1 + number % min(3, len(values))
    chosen = itertools.islice(itertools.cycle(values), number % len(values), number % len(values) + count)
    described = f' DescId="{name}"' if name in LABELS else ""
    content = "".join(f'<Value Name="{value}"/>' for value in chosen)
    return f'<Feature Name="{name}"{described}>{content}</Feature>'


def date_range(number):
    return f'<DateRange From="{2018 + number % 9}-{1 + number % 12:02}-01" To="{2030 + number % 5}-12-31"/>'


def unit_range(number):
    first = 1 + 50 * (number % 40)
    return f'<UnitRange From="{first}" To="{first + 49}"/>'


def leaf(number):
    return (feature, date_range, feature, unit_range)[number % 4](number)


def description(summary):
    lines = ["  <Description>", f"    <Summary>{summary}</Summary>"]
    lines += [f'    <Label Id="{name}">{text}</Label>' for name, text in LABELS.items()]
    return lines + ["  </Description>"]


def nested(number, depth, indent):
    """A chain of And, Or and Not, `depth` elements deep, with a leaf or two on every level."""
    if depth == 0:
        return [indent + leaf(number)]
    inside = nested(number + 1, depth - 1, indent + "  ")
    if depth % 5 == 0:
        return [indent + "<Not>", *inside, indent + "</Not>"]
    name = "And" if depth % 2 else "Or"
    inside = [f"{indent}  {leaf(number)}", *inside, f"{indent}  {leaf(number + 3)}"]
    return [f"{indent}<{name}>", *inside, f"{indent}</{name}>"]


def context(number, depth):
    holder = f"{HOLDERS[number % len(HOLDERS)]} {10 + number}"
    kind = ("Model", "Product", "Plant")[number % 3]
    lines = [f'  <Context HolderType="{kind}" HolderName="{holder}">']
    for level in range(number % 4):
        domain = ("Variant", "Evolution")[level % 2]
        lines.append(f'    <InheritedEff Domain="{domain}" FilterableId="{1000 + 10 * number + level}" '
                     f'HolderName="{HOLDERS[(number + level) % len(HOLDERS)]} family"/>')
    for change in range(number % 3):
        lines.append(f'    <Change Name="CHG-{2000 + 7 * number + change}" '
                     f'OperationHandlerId="{80000 + 13 * number + change}"/>')
    return lines + nested(number, depth, "    ") + ["  </Context>"]


def document(summary, depths):
    lines = description(summary)
    for number, depth in enumerate(depths):
        lines += context(number, depth)
    return HEAD + "\n".join(lines) + "\n" + TAIL


SAMPLES = {
    "deep.xml": document("Conditions inside conditions", [64, 32, 16]),
    "fleet.xml": document("All holders of the fleet", [1 + number % 7 for number in range(100)]),
}


def main():
    folder = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else pathlib.Path(__file__).parent
    for name, text in SAMPLES.items():
        (folder / name).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
