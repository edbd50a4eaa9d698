"""ids: the texts by which a web-service request names objects."""

import pytest


def test_features_are_named_by_logical_identifiers_and_others_by_physical_ones(zepcfg):
    result = zepcfg("ids", "ConfigurationFeature:Engine:4F2A91C0", "Part:Door:7B6E", "Part::A-1.b_2").ok()
    assert (result.text, result.err) == ("Engine\n7B6E\nA-1.b_2\n", "")


def test_json_lists_them_in_order(zepcfg):
    result = zepcfg("--json", "ids", "Part:x:2", "ConfigurationFeature:Engine: diesel:1", "Part:x:2").ok()
    assert result.json == {"hresult": 0, "result": "S_OK", "ids": ["2", "Engine: diesel", "2"]}


def test_logical_identifiers_may_hold_any_characters(zepcfg):
    assert zepcfg("ids", "ConfigurationFeature:色 🐦 [a,b] \"'\\:1").ok().text == "色 🐦 [a,b] \"'\\\n"
    assert zepcfg("ids", "--json", "ConfigurationFeature:色 🐦 \"\\:1").ok().json["ids"] == ['色 🐦 "\\']


def test_result_goes_to_a_file(zepcfg, tmp_path):
    out = tmp_path / "ids.txt"
    assert zepcfg("ids", "-o", out, "Part:Door:7B6E").ok().out == b""
    assert out.read_text() == "7B6E\n"


def test_many_identifiers_keep_their_order(zepcfg):
    result = zepcfg("ids", *(f"Part:p:{n}" for n in range(2000))).ok()
    assert result.text.split() == [str(n) for n in range(2000)]


BAD_IDS = {
    "": "null",
    "Engine": "type:logical:physical",
    "Part:7B6E": "type:logical:physical",
    "Pa rt:Door:7B6E": "type",
    ":Door:7B6E": "type",
    "Part:Door:": "physical",
    "Part:Door:7 B": "physical",
    "Part:a\tb:7": "control character",
    "Part:" + "x" * 1024 + ":7": "1024",
    "doctor": "type:logical:physical",
}


@pytest.mark.parametrize("bad", BAD_IDS, ids=lambda text: text[:20] or "empty")
def test_bad_identifier_is_named_with_the_form_that_it_needs(zepcfg, tmp_path, bad):
    out = tmp_path / "ids.txt"
    arguments = ["ids", "-o", out, "Part:Door:1", "ConfigurationFeature:Engine:2", bad, "Part:Door:3"]
    result = zepcfg(*arguments).failed("identifier 3", "BuildJsonList", "E_INVALIDARG", BAD_IDS[bad])
    assert "remedy: write it as type:logical:physical" in result.err
    assert not out.exists()


def test_feature_without_a_logical_part_is_told_to_have_one(zepcfg):
    result = zepcfg("ids", "ConfigurationFeature::4F2A91C0").failed("identifier 1 'ConfigurationFeature::4F2A91C0'")
    assert "give the feature its logical part" in result.err


def test_json_of_a_failure_holds_the_texts_made_before_it(zepcfg):
    result = zepcfg("ids", "--json", "Part:Door:7", "x", "Part:Door:8")
    assert result.code == 2
    assert result.json["result"] == "E_INVALIDARG"
    assert result.json["input"] == "identifier 2 'x'"
    assert result.json["ids"] == ["7"]


@pytest.mark.parametrize("bad", ["[Part:Door:7]", "[Part:Door:7,Part:Door:8]", "[]"])
def test_text_in_brackets_is_no_list(zepcfg, bad):
    zepcfg("ids", "Part:Door:1", bad).failed(f"'{bad}'", "type:logical:physical")


def test_none_is_refused(zepcfg):
    zepcfg("ids").failed("ID", "zepcfg ids --help")


def test_trace_shows_the_operation(zepcfg):
    result = zepcfg("ids", "--trace", "Part:Door:7").ok()
    assert result.text == "7\n"
    assert "BuildJsonList" in result.err and "plmid = [7]" in result.err
