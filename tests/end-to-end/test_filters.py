"""compile and includes: expressions in their compiled form, and whether one includes the other."""

import itertools
import json
import subprocess

import pytest

import support

NAMESPACE = "urn:zep:configuration-expression"


def expression(condition):
    return f'<EffectivityExpression xmlns="{NAMESPACE}">{condition}</EffectivityExpression>'


def feature(name, *values):
    return f'<Feature Name="{name}">' + "".join(f'<Value Name="{value}"/>' for value in values) + "</Feature>"


def units(first, last=None):
    return f'<UnitRange From="{first}"' + (f' To="{last}"' if last else "") + "/>"


def model(name, content):
    return f'<Context HolderType="Model" HolderName="{name}">{content}</Context>'


TRUE = "<Boolean>true</Boolean>"
FALSE = "<Boolean>false</Boolean>"
V6_OR_V8 = f'<Or>{feature("Engine", "V6")}{feature("Engine", "V8")}</Or>'
INHERITED = '<InheritedEff Domain="Variant" FilterableId="1201" HolderName="Kestrel family"/>'


@pytest.fixture
def xml(tmp_path):
    """Writes an expression with the condition into a new file."""
    numbers = itertools.count()

    def write(condition):
        file = tmp_path / f"expression{next(numbers)}.xml"
        file.write_text(expression(condition), encoding="utf-8")
        return file

    return write


@pytest.fixture
def compiled(zepcfg, xml):
    """The same, compiled."""

    def write(condition):
        file = xml(condition)
        zepcfg("compile", file, "-o", file.with_suffix(".zepfilter")).ok()
        return file.with_suffix(".zepfilter")

    return write


def answer(result):
    """What it printed, which has to fit its exit code."""
    lines = result.text.splitlines()
    assert result.err == ""
    assert (lines[0], result.code) in (("yes", 0), ("no", 1)), result
    return lines


# ---- compile -----------------------------------------------------------------------------------


def test_compile_writes_the_same_bytes_everywhere(zepcfg, tmp_path):
    out = tmp_path / "units.zepfilter"
    sample = support.SAMPLES / "units.xml"
    result = zepcfg("compile", sample, "-o", out).ok()
    assert (result.out, result.err) == (b"", "")
    compiled = out.read_bytes()
    assert len(compiled) > 0
    assert zepcfg("compile", sample).ok().out == compiled
    assert zepcfg("compile", "-", stdin=sample.read_bytes()).ok().out == compiled
    assert zepcfg("compile", stdin=sample.read_bytes(), cwd=tmp_path).ok().out == compiled
    assert zepcfg("compile", sample, "-o", "-").ok().out == compiled


def test_compile_json_counts_terms_and_bytes(zepcfg, xml, tmp_path):
    file = xml(f'<Or>{feature("Engine", "V6")}{feature("Roof", "Panorama")}{units(7)}</Or>')
    out = tmp_path / "out.zepfilter"
    result = zepcfg("compile", "--json", file, "-o", out).ok()
    assert result.json == {"hresult": 0, "result": "S_OK", "terms": 3, "bytes": len(out.read_bytes())}


@pytest.mark.parametrize(("condition", "terms"), [(TRUE, 1), (FALSE, 0), (V6_OR_V8, 1)])
def test_compile_counts_the_terms_of_the_normal_form(zepcfg, xml, tmp_path, condition, terms):
    result = zepcfg("compile", "--json", xml(condition), "-o", tmp_path / "out.zepfilter").ok()
    assert result.json["terms"] == terms


@pytest.mark.parametrize("output", [[], ["-o", "-"]], ids=["without", "dash"])
def test_compile_json_without_a_file_for_the_bytes_fails(zepcfg, xml, output):
    result = zepcfg("compile", "--json", *output, xml(TRUE))
    assert result.code == 2
    assert "-o FILE" in result.json["remedy"]


@pytest.mark.parametrize("output", [[], ["-o", "-"]], ids=["without", "dash"])
def test_compile_writes_no_bytes_to_a_terminal(zepcfg, xml, output):
    result = zepcfg.on_terminal("compile", xml(TRUE), *output)
    result.failed("terminal", "-o FILE")


def test_compile_of_what_is_compiled_fails(zepcfg, compiled, tmp_path):
    file = compiled(TRUE)
    zepcfg("compile", file, "-o", tmp_path / "out").failed(file.name, "compiled already")


def test_compile_that_fails_leaves_what_was_there(zepcfg, xml, tmp_path):
    out = tmp_path / "out.zepfilter"
    out.write_bytes(b"before")
    zepcfg("compile", xml("<Or/>"), "-o", out).failed("remedy")
    assert out.read_bytes() == b"before"
    assert [path.name for path in tmp_path.glob("out*")] == [out.name]


def test_compile_into_a_missing_folder_fails(zepcfg, xml, tmp_path):
    zepcfg("compile", xml(TRUE), "-o", tmp_path / "missing" / "out").failed("missing", "No such file")


def test_compile_reads_other_encodings(zepcfg, tmp_path):
    text = expression(feature("Größe", "groß"))
    utf8 = zepcfg("compile", stdin=text.encode("utf-8")).ok().out
    assert zepcfg("compile", stdin=text.encode("utf-16")).ok().out == utf8
    latin = f'<?xml version="1.0" encoding="ISO-8859-1"?>{text}'.encode("iso-8859-1")
    assert zepcfg("compile", stdin=latin).ok().out == utf8


NOT_OF_THE_VOCABULARY = {
    "empty-or": ("\n<Or/>", "line 2", "Or"),
    "unknown-element": ("\n\n<Maybe/>", "line 3", "Maybe"),
    "no-value": ('\n<Feature Name="Engine"/>', "line 2", "Value"),
    "no-name": ("\n<Feature><Value Name='V6'/></Feature>", "line 2", "Name"),
    "no-day": ('<And>\n<DateRange From="2025-02-30"/></And>', "line 2", "2025-02-30"),
    "no-unit": ('\n<UnitRange From="0"/>', "line 2", "unit number"),
    "backwards": ('\n<UnitRange From="9" To="8"/>', "line 2", "before it begins"),
    "no-boolean": ("\n<Boolean>maybe</Boolean>", "line 2", "true or false"),
    "no-holder": ('\n<Context HolderType="Model"/>', "line 2", "HolderName"),
}


@pytest.mark.parametrize("kind", NOT_OF_THE_VOCABULARY)
@pytest.mark.parametrize("command", ["compile", "includes"])
def test_what_is_not_of_the_vocabulary_fails_with_its_line(zepcfg, xml, tmp_path, command, kind):
    condition, *words = NOT_OF_THE_VOCABULARY[kind]
    bad = xml(condition)
    arguments = ["-o", tmp_path / "out", bad] if command == "compile" else [xml(TRUE), bad]
    result = zepcfg(command, *arguments).failed(f"'{bad}'", *words, "remedy: correct the input at that line")
    assert "CompileFilter failed with E_INVALIDARG" in result.err


NOT_AN_EXPRESSION = {
    "other-root": ("<page/>", ["page", "EffectivityExpression"]),
    "other-namespace": ('<EffectivityExpression xmlns="urn:other"/>', [NAMESPACE]),
    "text": ("hello", ["line 1"]),
    "empty": ("", ["empty", "name a file"]),
    "not-closed": ("<a>\n<b>\n</a>", ["line 3"]),
    "doctype": (f"<!DOCTYPE a>{expression(TRUE)}", ["DOCTYPE"]),
    "not-utf8": (b"<a>\xff</a>", ["offset 3", "UTF-8"]),
    "binary": (bytes(range(256)) * 8, []),
}


@pytest.mark.parametrize("kind", NOT_AN_EXPRESSION)
@pytest.mark.parametrize("command", ["compile", "includes"])
def test_what_is_no_expression_fails(zepcfg, xml, tmp_path, command, kind):
    content, words = NOT_AN_EXPRESSION[kind]
    bad = tmp_path / "bad.xml"
    bad.write_bytes(content if isinstance(content, bytes) else content.encode())
    arguments = ["-o", tmp_path / "out", bad] if command == "compile" else [bad, xml(TRUE)]
    zepcfg(command, *arguments).failed("bad.xml", "remedy: ", *words)
    assert not (tmp_path / "out").exists()


def pigeons(count, holes):
    """Each pigeon has a hole; two pigeons share one. The first includes the second hard to see."""
    names = [str(hole) for hole in range(holes)]
    settled = "".join(feature(f"Pigeon {n}", *names) for n in range(count))
    shared = "".join(
        f"<And>{feature(f'Pigeon {one}', hole)}{feature(f'Pigeon {two}', hole)}</And>"
        for hole in names
        for one, two in itertools.combinations(range(count), 2)
    )
    return f"<And>{settled}</And>", f"<Or>{shared}</Or>"


@pytest.mark.parametrize("command", ["compile", "includes"])
def test_normal_form_beyond_the_limit_fails_with_the_setting(zepcfg, xml, tmp_path, command):
    large = xml("<Or>" + "".join(feature(f"Option {n}", "yes") for n in range(20)) + "</Or>")
    arguments = ["-o", tmp_path / "out", large] if command == "compile" else [large, xml(TRUE)]
    zepcfg(command, *arguments, ZEP_FILTER_MAX_TERMS="19").failed(large.name, "19", "raise ZEP_FILTER_MAX_TERMS")
    zepcfg(command, *arguments, ZEP_FILTER_MAX_TERMS="20").ok()


# ---- includes ----------------------------------------------------------------------------------

IN_MARCH = '<DateRange From="2025-03-01" To="2025-03-31"/>'
ANSWERS = {
    "units that only two ranges together hold": (units(5, 20), f"<Or>{units(1, 10)}{units(11)}</Or>", None),
    "values that only two terms together hold": (feature("Engine", "V6", "V8"), V6_OR_V8, None),
    "values nobody named": (TRUE, V6_OR_V8, ["Engine = (any value that neither names)"]),
    "value that B does not name": (
        feature("Engine", "V6", "Diesel"), V6_OR_V8, ["Engine = Diesel"],
    ),
    "value that A does not name": (
        f'<Not>{feature("Engine", "V6")}</Not>', f'<Not>{feature("Engine", "V6", "V8")}</Not>', ["Engine = V8"],
    ),
    "unit behind the last": (units(5, 11), units(1, 10), ["unit = 11"]),
    "day behind the last": ('<DateRange From="2025-03-01" To="2025-04-01"/>', IN_MARCH, ["date = 2025-04-01"]),
    "days that adjoin": (
        IN_MARCH, '<Or><DateRange To="2025-03-15"/><DateRange From="2025-03-16"/></Or>', None,
    ),
    "all in nothing": (TRUE, FALSE, ["any configuration"]),
    "nothing in nothing": (FALSE, FALSE, None),
    "nothing in something": (FALSE, units(3), None),
    "other holder": (model("Heron", TRUE), model("Kestrel 40", TRUE), ["holder: Model Heron"]),
    "any holder": (TRUE, model("Kestrel 40", TRUE), ["holder: (any that neither names)"]),
    "inherited effectivity that does not hold": (
        model("Heron", TRUE), model("Heron", INHERITED),
        ["holder: Model Heron", "inherited effectivity Variant 1201 = does not hold"],
    ),
    "inherited effectivity that holds": (
        model("Heron", INHERITED), model("Heron", feature("Engine", "V6")),
        ["holder: Model Heron", "inherited effectivity Variant 1201 = holds", "Engine = (any value that neither names)"],
    ),
    "several of them": (
        f'<And>{feature("Engine", "V6")}{units(4, 4)}{IN_MARCH}</And>', units(5),
        ["Engine = V6", "date = 2025-03-01", "unit = 4"],
    ),
    # A terminal takes U+009B for the start of a command.
    "names with odd characters": (
        feature("a&#10;b = c", "&#x9B;[2J"), feature("Engine", "V6"),
        ["Engine = (any value that neither names)", "a\\x0Ab = c = \\xC2\\x9B[2J"],
    ),
}


@pytest.mark.parametrize("kind", ANSWERS)
def test_includes_answers_and_explains(zepcfg, xml, kind):
    a, b, lines = ANSWERS[kind]
    files = [xml(a), xml(b)]
    word = "yes" if lines is None else "no"
    assert answer(zepcfg("includes", *files)) == [word]
    assert answer(zepcfg("includes", "--explain", *files)) == [word, *(lines or [])]


def test_includes_json_explains_exactly(zepcfg, xml):
    a = xml(model("Heron", f"{INHERITED}<And>{IN_MARCH}{units(12)}{feature('Roof', 'Panorama')}</And>"))
    b = xml(model("Heron", f"<Not>{feature('Engine', 'V6')}</Not>"))
    result = zepcfg("includes", "--json", "--explain", b, a)
    assert result.code == 1
    counterexample = result.json.pop("counterexample")
    assert [(entry["kind"], entry["name"]) for entry in counterexample] == [
        ("holder", None), ("inherited", "Variant 1201"), ("feature", "Engine"), ("feature", "Roof"), ("date", None), ("unit", None),
    ]
    result = zepcfg("includes", "--json", "--explain", a, b)
    assert result.code == 1
    assert result.json == {
        "hresult": 0,
        "result": "S_OK",
        "included": False,
        "counterexample": [
            {"kind": "holder", "name": None, "value": "Model Heron"},
            {"kind": "inherited", "name": "Variant 1201", "value": "holds"},
            {"kind": "feature", "name": "Engine", "value": "V6"},
            {"kind": "feature", "name": "Roof", "value": "Panorama"},
            {"kind": "date", "name": None, "value": "2025-03-01"},
            {"kind": "unit", "name": None, "value": "12"},
        ],
    }


def test_includes_json_has_null_for_what_neither_names(zepcfg, xml):
    result = zepcfg("--json", "includes", "--explain", xml(TRUE), xml(V6_OR_V8))
    assert result.json["counterexample"] == [{"kind": "feature", "name": "Engine", "value": None}]


@pytest.mark.parametrize("explain", [[], ["--explain"]], ids=["plain", "explain"])
def test_includes_json_of_a_yes_has_no_counterexample(zepcfg, xml, explain):
    result = zepcfg("includes", "--json", *explain, xml(V6_OR_V8), xml(TRUE)).ok()
    assert result.json == {"hresult": 0, "result": "S_OK", "included": True, "counterexample": None}


def test_includes_json_of_a_no_has_none_unless_asked(zepcfg, xml):
    result = zepcfg("includes", "--json", xml(TRUE), xml(V6_OR_V8))
    assert result.code == 1
    assert result.json == {"hresult": 0, "result": "S_OK", "included": False, "counterexample": None}


def test_includes_writes_to_a_file(zepcfg, xml, tmp_path):
    out = tmp_path / "answer.txt"
    result = zepcfg("includes", "--explain", "-o", out, xml(TRUE), xml(V6_OR_V8))
    assert (result.code, result.out) == (1, b"")
    assert out.read_text() == "no\nEngine = (any value that neither names)\n"


def test_includes_takes_compiled_filters_and_xml_alike(zepcfg, xml, compiled):
    for a, b, code in [(units(5, 20), f"<Or>{units(1, 10)}{units(11)}</Or>", 0), (TRUE, V6_OR_V8, 1)]:
        results = [
            zepcfg("includes", "--explain", form_of_a(a), form_of_b(b))
            for form_of_a in (xml, compiled)
            for form_of_b in (xml, compiled)
        ]
        assert [result.code for result in results] == [code] * 4
        assert len({result.out for result in results}) == 1


def test_includes_reads_one_filter_from_standard_input(zepcfg, xml, compiled):
    small, large = feature("Engine", "V6"), V6_OR_V8
    for write in (xml, compiled):
        assert zepcfg("includes", "-", xml(large), stdin=write(small).read_bytes()).code == 0
        assert zepcfg("includes", xml(large), "-", stdin=write(small).read_bytes()).code == 1


def test_includes_reads_only_one_filter_from_standard_input(zepcfg):
    zepcfg("includes", "-", "-", stdin=expression(TRUE).encode()).failed("standard input", "name a file")


@pytest.mark.parametrize("place", [0, 1])
def test_includes_names_the_file_that_cannot_be_read(zepcfg, xml, tmp_path, place):
    for bad, words in ((tmp_path / "missing.xml", ["No such file"]), (tmp_path, ["directory"])):
        files = [xml(TRUE)]
        files.insert(place, bad)
        zepcfg("includes", *files).failed(f"'{bad}'", *words)
        result = zepcfg("includes", "--json", *files)
        assert result.code == 2
        assert result.json["input"] == f"'{bad}'"


@pytest.mark.parametrize("place", [0, 1])
def test_includes_names_the_filter_that_is_damaged(zepcfg, xml, compiled, place):
    damaged = compiled(V6_OR_V8)
    damaged.write_bytes(damaged.read_bytes()[:-1])
    files = [xml(units(1))]
    files.insert(place, damaged)
    result = zepcfg("includes", *files).failed(f"'{damaged}'", "IsAIncludedInB", "damaged", "compile its expression again")
    assert "' and '" not in result.err


def test_no_byte_of_a_compiled_filter_can_be_changed_unnoticed(zepcfg, xml, compiled, tmp_path):
    whole = compiled(V6_OR_V8).read_bytes()
    other = xml(TRUE)
    damaged = tmp_path / "damaged.zepfilter"
    for place in range(0, len(whole), 7):
        damaged.write_bytes(whole[:place] + bytes([whole[place] ^ 0x41]) + whole[place + 1:])
        zepcfg("includes", other, damaged).failed("damaged.zepfilter", "remedy: ")


def test_includes_ends_at_its_time_limit(zepcfg, xml):
    settled, shared = map(xml, pigeons(13, 12))
    result = zepcfg("includes", settled, shared, timeout=60, ZEP_FILTER_TIMEOUT_MS="200")
    result.failed(settled.name, shared.name, "E_ABORT", "let it take longer (ZEP_FILTER_TIMEOUT_MS")


def test_includes_decides_what_fits_into_its_time(zepcfg, xml):
    settled, shared = map(xml, pigeons(6, 5))
    assert answer(zepcfg("includes", settled, shared)) == ["yes"]
    settled, shared = map(xml, pigeons(5, 5))
    lines = answer(zepcfg("includes", "--explain", settled, shared))
    assert lines[0] == "no"
    holes = dict(line.split(" = ") for line in lines[1:])
    assert sorted(holes) == [f"Pigeon {n}" for n in range(5)]
    assert sorted(holes.values()) == ["0", "1", "2", "3", "4"]


# ---- samples -----------------------------------------------------------------------------------


@pytest.mark.parametrize("sample", support.SAMPLE_FILES, ids=lambda file: file.stem)
def test_every_sample_is_included_in_itself_and_in_all(zepcfg, tmp_path, sample):
    file, everything = tmp_path / "sample.zepfilter", tmp_path / "everything.xml"
    numbers = zepcfg("compile", "--json", sample, "-o", file).ok().json
    assert numbers["terms"] > 0
    zepcfg("always-true", "-o", everything).ok()
    assert answer(zepcfg("includes", file, sample)) == ["yes"]
    assert answer(zepcfg("includes", sample, everything)) == ["yes"]
    lines = answer(zepcfg("includes", "--explain", everything, file))
    assert lines[0] == "no" and len(lines) > 1


def test_filter_for_one_model_includes_what_is_of_that_model(zepcfg, tmp_path):
    everything = tmp_path / "kestrel.xml"
    zepcfg("always-true", "--model", "Kestrel 40", "-o", everything).ok()
    assert answer(zepcfg("includes", support.SAMPLES / "one-feature.xml", everything)) == ["yes"]
    assert answer(zepcfg("includes", "--explain", support.SAMPLES / "two-contexts.xml", everything)) == [
        "no", "holder: Plant Line 3", "Roof = Panorama", "date = 2024-06-01",
    ]


# ---- the program -------------------------------------------------------------------------------


def test_trace_of_includes_shows_the_operation(zepcfg, xml):
    result = zepcfg("includes", "--trace", xml(TRUE), xml(TRUE)).ok()
    assert result.text == "yes\n"
    assert "ZEPCfgFilterBasicServices" in result.err and "IsAIncludedInB" in result.err


def test_help_says_what_the_filters_may_be(zepcfg):
    text = zepcfg("includes", "--help").ok().text
    assert "--explain" in text and "compiled" in text


def test_misspelt_option_is_met_with_the_right_one(zepcfg):
    zepcfg("includes", "a", "b", "--explian").failed("did you mean --explain?")


def test_compiled_form_goes_through_a_pipe(zepcfg, xml):
    one = subprocess.run([zepcfg.path, "compile", xml(TRUE)], capture_output=True, env=zepcfg.environment, timeout=60)
    assert one.returncode == 0
    assert json.loads(zepcfg("includes", "--json", xml(V6_OR_V8), "-", stdin=one.stdout).ok().out)["included"] is True


@pytest.mark.parametrize("command", ["compile", "includes"])
def test_input_that_is_too_large_is_refused(zepcfg, xml, compiled, tmp_path, command):
    large = compiled(TRUE)
    with large.open("r+b") as file:
        file.truncate((256 << 20) + 1)
    arguments = ["-o", tmp_path / "out", large] if command == "compile" else [xml(TRUE), large]
    zepcfg(command, *arguments).failed(large.name, "larger than 256 MiB")
