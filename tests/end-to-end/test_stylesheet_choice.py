"""Which stylesheet is used: named file, server, user's setting, installation."""

import pytest

import support


def marker(text):
    return support.text_stylesheet(text)


@pytest.fixture
def install(tmp_path):
    """Makes an installation root with stylesheets that print their own names."""

    def make(name, plain=None, branching=None):
        folder = tmp_path / name / "resources" / "xsl"
        folder.mkdir(parents=True)
        if plain:
            (folder / "CfgEffectivityDisplay.xsl").write_text(marker(plain))
        if branching:
            (folder / "CfgEffectivityDisplay_Branching.xsl").write_text(marker(branching))
        return tmp_path / name

    return make


@pytest.fixture
def custom(tmp_path):
    file = tmp_path / "custom.xsl"
    file.write_text(marker("custom"))
    return file


def formatted(zepcfg, *arguments, **environment):
    return zepcfg(*arguments, "format", support.SMALL_SAMPLE, **environment).ok().text


def test_program_brings_its_own_stylesheets(zepcfg):
    assert formatted(zepcfg).encode() == support.xsltproc(support.DISPLAY, support.SMALL_SAMPLE)


def test_program_brings_its_own_branching_stylesheet(zepcfg):
    assert formatted(zepcfg, "--branching").encode() == support.xsltproc(support.BRANCHING, support.SMALL_SAMPLE)


def test_installation_second_root_is_used_when_the_first_has_no_file(zepcfg, install):
    roots = f"{install('first')};{install('second', plain='from the second root')}"
    assert formatted(zepcfg, ZEPInstallPath=roots) == "from the second root"


def test_installation_first_root_with_the_file_wins(zepcfg, install):
    roots = f"{install('first', plain='first')};{install('second', plain='second')}"
    assert formatted(zepcfg, ZEPInstallPath=roots) == "first"


def test_installation_root_after_an_empty_one_is_not_looked_at(zepcfg, install):
    roots = f"{install('first')};;{install('second', plain='second')}"
    zepcfg("format", support.SMALL_SAMPLE, ZEPInstallPath=roots).failed("S_FALSE", "no stylesheet", "ZEPInstallPath")


@pytest.mark.parametrize("ending", ["/", "\\"])
def test_installation_root_may_end_with_a_separator(zepcfg, install, ending):
    assert formatted(zepcfg, ZEPInstallPath=f"{install('root', plain='found')}{ending}") == "found"


@pytest.mark.parametrize(
    ("arguments", "environment", "text"),
    [
        ([], {}, "plain"),
        (["--branching"], {}, "branching"),
        ([], {"ZEP_BRANCHING": "1"}, "branching"),
        ([], {"ZEP_BRANCHING": "0"}, "plain"),
    ],
)
def test_branching_switch_chooses_the_file_name(zepcfg, install, arguments, environment, text):
    root = install("root", plain="plain", branching="branching")
    assert formatted(zepcfg, *arguments, ZEPInstallPath=str(root), **environment) == text


def test_setting_comes_before_the_installation(zepcfg, install, custom):
    zepcfg.set_stylesheet_setting(str(custom))
    assert formatted(zepcfg, ZEPInstallPath=str(install("root", plain="root"))) == "custom"


@pytest.mark.parametrize("reference", ["$MY_STYLES", "${MY_STYLES}", "%MY_STYLES%"])
def test_setting_may_refer_to_variables(zepcfg, custom, reference):
    zepcfg.set_stylesheet_setting(f"{reference}/custom.xsl")
    assert formatted(zepcfg, MY_STYLES=str(custom.parent)) == "custom"


def test_setting_with_backslashes_finds_the_file(zepcfg, custom):
    zepcfg.set_stylesheet_setting(str(custom).replace("/", "\\"))
    assert formatted(zepcfg) == "custom"


def test_setting_that_names_a_missing_file_is_passed_over(zepcfg, install, tmp_path):
    zepcfg.set_stylesheet_setting(str(tmp_path / "missing.xsl"))
    assert formatted(zepcfg, ZEPInstallPath=str(install("root", plain="root"))) == "root"


def test_setting_file_that_is_no_toml_is_passed_over(zepcfg, install):
    (zepcfg.settings / "EffeCustoFilePathSetting.toml").write_text("EffCustoPath = = \n")
    assert formatted(zepcfg, ZEPInstallPath=str(install("root", plain="root"))) == "root"


@pytest.mark.parametrize("value", ["debug", "$SWITCH"])
def test_setting_debug_makes_formatting_fail(zepcfg, value):
    zepcfg.set_stylesheet_setting(value)
    result = zepcfg("format", support.SMALL_SAMPLE, SWITCH="debug")
    result.failed("no format for debug", "E_FAIL", "FormatExpression", "EffCustoPath", support.SMALL_SAMPLE.name)


def test_setting_debug_does_not_touch_a_named_stylesheet(zepcfg, custom):
    zepcfg.set_stylesheet_setting("debug")
    assert zepcfg("format", "--stylesheet", custom, support.SMALL_SAMPLE).ok().text == "custom"


@pytest.mark.parametrize("place", ["xdg", "home"])
def test_setting_is_found_in_the_folder_of_the_user(zepcfg, custom, tmp_path, place):
    folder = tmp_path / ("xdg" if place == "xdg" else "zepcfg-home/.config") / "zepcfg"
    folder.mkdir(parents=True)
    zepcfg.set_stylesheet_setting(str(custom))
    (zepcfg.settings / "EffeCustoFilePathSetting.toml").rename(folder / "EffeCustoFilePathSetting.toml")
    del zepcfg.environment["ZEP_SETTINGS_DIR"]
    places = {"XDG_CONFIG_HOME": str(tmp_path / "xdg")} if place == "xdg" else {}
    assert formatted(zepcfg, **places) == "custom"


def test_settings_folder_replaces_the_folder_of_the_user(zepcfg, custom, install, tmp_path):
    folder = tmp_path / "xdg" / "zepcfg"
    folder.mkdir(parents=True)
    zepcfg.set_stylesheet_setting(str(custom))
    (zepcfg.settings / "EffeCustoFilePathSetting.toml").rename(folder / "EffeCustoFilePathSetting.toml")
    root = install("root", plain="root")
    assert formatted(zepcfg, XDG_CONFIG_HOME=str(tmp_path / "xdg"), ZEPInstallPath=str(root)) == "root"


def test_named_stylesheet_comes_before_everything(zepcfg, custom, install, demo_server, tmp_path):
    served = tmp_path / "served.xsl"
    served.write_text(support.text_stylesheet("served", ' encoding="UTF-16"'))
    server = demo_server("--stylesheet", served)
    zepcfg.set_stylesheet_setting(str(install("set", plain="set") / "resources/xsl/CfgEffectivityDisplay.xsl"))
    text = zepcfg(
        "--url", server.url, "--context", support.CONTEXT, "format", "--stylesheet", custom, support.SMALL_SAMPLE
    ).ok().text
    assert text == "custom"
    assert server.requests() == []


def test_server_comes_before_setting_and_installation(zepcfg, install, demo_server, tmp_path):
    served = tmp_path / "served.xsl"
    served.write_text(support.text_stylesheet("served", ' encoding="UTF-16"'))
    zepcfg.set_stylesheet_setting("debug")
    url = demo_server("--stylesheet", served).url
    text = formatted(zepcfg, "--url", url, "--context", support.CONTEXT, ZEPInstallPath=str(install("root", plain="r")))
    assert text == "served"


@pytest.mark.parametrize("how", ["empty", "no-xslt"])
def test_server_without_a_stylesheet_leaves_it_to_the_installation(zepcfg, install, demo_server, how):
    server = demo_server("--misbehave", how)
    text = formatted(
        zepcfg, "--url", server.url, "--context", support.CONTEXT, ZEPInstallPath=str(install("root", plain="root"))
    )
    assert text == "root"
    assert len(server.requests()) == 1


def test_stylesheet_command_says_which_and_why(zepcfg, custom, install, tmp_path):
    zepcfg.set_stylesheet_setting(str(tmp_path / "missing.xsl"))
    root = install("root", plain="root")
    chosen = root / "resources" / "xsl" / "CfgEffectivityDisplay.xsl"
    result = zepcfg("stylesheet", ZEPInstallPath=str(root)).ok()
    assert str(chosen) in result.text.replace("\\", "/")
    assert "missing.xsl" in result.text
    answer = zepcfg("--json", "stylesheet", ZEPInstallPath=str(root)).ok().json
    assert answer["hresult"] >= 0
    assert answer["path"].replace("\\", "/") == str(chosen)
    assert len(answer["candidates"]) >= 3


def test_stylesheet_print_gives_its_text(zepcfg, custom):
    zepcfg.set_stylesheet_setting(str(custom))
    assert zepcfg("stylesheet", "--print").ok().text == custom.read_text()


def test_stylesheet_print_gives_the_text_of_the_server(zepcfg, demo_server, tmp_path):
    served = tmp_path / "served.xsl"
    served.write_text(support.text_stylesheet("sërvéd 🐦", ' encoding="UTF-16"'), encoding="utf-8")
    url = demo_server("--stylesheet", served).url
    result = zepcfg("--url", url, "--context", support.CONTEXT, "stylesheet", "--print").ok()
    assert result.text == served.read_text(encoding="utf-8")
