"""A stylesheet is a program from a stranger: it reaches nothing outside."""

import pytest

import support

SECRET = "the secret of the machine"


@pytest.fixture
def folder(tmp_path):
    """A place for stylesheets, with a secret file beside it and another one inside."""
    (tmp_path / "secret.xml").write_text(f"<secret>{SECRET}</secret>")
    (tmp_path / "outside.xsl").write_text(support.text_stylesheet("", top=f"<xsl:variable name='s' select=\"'{SECRET}'\"/>"))
    inside = tmp_path / "styles"
    (inside / "parts").mkdir(parents=True)
    (inside / "secret.xml").write_text(f"<secret>{SECRET}</secret>")
    part = f'<xsl:stylesheet version="1.0" {support.XSL}><xsl:variable name="s" select="\'from the part\'"/></xsl:stylesheet>'
    (inside / "part.xsl").write_text(part)
    (inside / "parts" / "deeper.xsl").write_text(part)
    return inside


@pytest.fixture
def refused(zepcfg, folder):
    def run(stylesheet, *words):
        file = folder / "hostile.xsl"
        file.write_text(stylesheet, encoding="utf-8")
        result = zepcfg("format", "--stylesheet", file, support.SMALL_SAMPLE, timeout=120).failed("hostile.xsl", *words)
        assert SECRET not in result.err
        return result

    return run


def with_doctype(doctype, body):
    return support.text_stylesheet(body).replace('<?xml version="1.0"?>', f'<?xml version="1.0"?>\n{doctype}')


@pytest.mark.parametrize("where", ["secret.xml", "../secret.xml", "file:///etc/hostname", "/etc/hostname"])
def test_document_function_reads_nothing(refused, where):
    refused(support.text_stylesheet(f"<xsl:value-of select=\"document('{where}')\"/>"))


def test_document_function_reads_no_network(refused, raw_server):
    server = raw_server(b"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n<a/>")
    refused(support.text_stylesheet(f"<xsl:value-of select=\"document('{server.url}/x.xml')\"/>"))
    assert server.received == []


@pytest.mark.parametrize("identifier", ['SYSTEM "secret.xml"', 'SYSTEM "file:///etc/hostname"', 'PUBLIC "p" "secret.xml"'])
def test_external_entity_is_refused(refused, identifier):
    refused(with_doctype(f"<!DOCTYPE xsl:stylesheet [<!ENTITY e {identifier}>]>", "&e;"))


@pytest.mark.parametrize("identifier", ['SYSTEM "secret.xml"', 'SYSTEM "file:///etc/hostname"'])
def test_external_parameter_entity_is_refused(refused, identifier):
    refused(with_doctype(f"<!DOCTYPE xsl:stylesheet [<!ENTITY % e {identifier}> %e;]>", "x"))


def test_external_subset_is_refused(refused, raw_server):
    server = raw_server(b"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")
    refused(with_doctype('<!DOCTYPE xsl:stylesheet SYSTEM "secret.xml">', "x"))
    refused(with_doctype(f'<!DOCTYPE xsl:stylesheet SYSTEM "{server.url}/x.dtd">', "x"))
    assert server.received == []


@pytest.mark.parametrize("instruction", ["include", "import"])
@pytest.mark.parametrize("where", ["../outside.xsl", "{absolute}", "file://{absolute}", "parts/../../outside.xsl"])
def test_include_from_outside_the_folder_is_refused(refused, folder, instruction, where):
    where = where.format(absolute=folder.parent / "outside.xsl")
    refused(include(instruction, where))


@pytest.mark.parametrize("instruction", ["include", "import"])
def test_include_through_a_link_to_outside_is_refused(refused, folder, instruction):
    (folder / "link.xsl").symlink_to(folder.parent / "outside.xsl")
    refused(include(instruction, "link.xsl"))


@pytest.mark.parametrize("instruction", ["include", "import"])
def test_include_from_the_network_is_refused(refused, raw_server, instruction):
    server = raw_server(b"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n<a/>")
    refused(include(instruction, f"{server.url}/part.xsl"))
    assert server.received == []


def include(instruction, where):
    return (
        f'<xsl:stylesheet version="1.0" {support.XSL}><xsl:{instruction} href="{where}"/>'
        '<xsl:output method="text" encoding="UTF-8"/>\n'
        '<xsl:template match="/"><xsl:value-of select="$s"/></xsl:template></xsl:stylesheet>'
    )


@pytest.mark.parametrize("instruction", ["include", "import"])
@pytest.mark.parametrize("where", ["part.xsl", "parts/deeper.xsl", "./part.xsl"])
def test_include_from_the_folder_or_below_works(zepcfg, folder, instruction, where):
    file = folder / "good.xsl"
    file.write_text(include(instruction, where))
    assert zepcfg("format", "--stylesheet", file, support.SMALL_SAMPLE).ok().text == "from the part"


def test_internal_entities_in_a_file_work(zepcfg, folder):
    file = folder / "good.xsl"
    file.write_text(with_doctype('<!DOCTYPE xsl:stylesheet [<!ENTITY nbsp "&#160;">]>', "a&nbsp;b"))
    assert zepcfg("format", "--stylesheet", file, support.SMALL_SAMPLE).ok().text == "a\u00a0b"


@pytest.mark.parametrize(
    "writing",
    [
        '<exsl:document href="written.txt" xmlns:exsl="http://exslt.org/common" extension-element-prefixes="exsl">x</exsl:document>',
        '<saxon:output href="written.txt" xmlns:saxon="http://icl.com/saxon" extension-element-prefixes="saxon">x</saxon:output>',
        '<xt:document href="written.txt" xmlns:xt="http://www.jclark.com/xt" extension-element-prefixes="xt">x</xt:document>',
        '<redirect:write file="written.txt" xmlns:redirect="org.apache.xalan.xslt.extensions.Redirect" extension-element-prefixes="redirect">x</redirect:write>',
        '<xsl:document href="written.txt">x</xsl:document>',
    ],
    ids=["exslt", "saxon", "xt", "redirect", "xsl"],
)
def test_writing_elements_write_nothing(refused, folder, zepcfg, writing):
    refused(support.text_stylesheet(writing))
    assert list(folder.parent.rglob("written.txt")) == []


SERVED = {
    "document": support.text_stylesheet("<xsl:value-of select=\"document('/etc/hostname')\"/>", ' encoding="UTF-16"'),
    "include": include("include", "file:///etc/hostname"),
    "import": include("import", "part.xsl"),
    "external-entity": with_doctype('<!DOCTYPE xsl:stylesheet [<!ENTITY e SYSTEM "/etc/hostname">]>', "&e;"),
    "internal-entity": with_doctype('<!DOCTYPE xsl:stylesheet [<!ENTITY e "x">]>', "&e;"),
    "doctype": with_doctype("<!DOCTYPE xsl:stylesheet>", "x"),
}


@pytest.mark.parametrize("kind", SERVED)
def test_stylesheet_of_a_server_reaches_nothing(zepcfg, demo_server, folder, tmp_path, kind):
    served = tmp_path / "served.xsl"
    served.write_text(SERVED[kind], encoding="utf-8")
    server = demo_server("--stylesheet", served)
    zepcfg("--url", server.url, "--context", support.CONTEXT, "format", support.SMALL_SAMPLE, cwd=folder).failed(
        support.SMALL_SAMPLE.name, "FormatExpression"
    )


def test_stylesheet_of_a_server_includes_nothing_from_the_working_folder(zepcfg, demo_server, folder, tmp_path):
    served = tmp_path / "served.xsl"
    served.write_text(include("include", str(folder / "part.xsl")), encoding="utf-8")
    server = demo_server("--stylesheet", served)
    zepcfg("--url", server.url, "--context", support.CONTEXT, "format", support.SMALL_SAMPLE, cwd=folder).failed()
