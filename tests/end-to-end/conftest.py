import pytest

import support
import tls


@pytest.fixture
def zepcfg(tmp_path):
    folder = tmp_path / "zepcfg-home"
    folder.mkdir()
    return support.Program("zepcfg", folder)


@pytest.fixture
def demo_server(tmp_path):
    """Starts demo servers; at the end of the test all of them have to end cleanly."""
    servers = []

    def start(*arguments):
        folder = tmp_path / f"server{len(servers)}"
        folder.mkdir()
        servers.append(support.DemoServer(folder, *arguments))
        return servers[-1]

    yield start
    codes = [server.stop() for server in servers]
    assert codes == [0] * len(servers)


@pytest.fixture
def raw_server():
    servers = []

    def start(answer, ending="close"):
        servers.append(support.RawServer(answer, ending))
        return servers[-1]

    yield start
    for server in servers:
        server.stop()


@pytest.fixture
def nginx(tmp_path):
    servers = []

    def start(locations, certificate=None, key=None):
        servers.append(tls.Nginx(tmp_path / f"nginx{len(servers)}", locations, certificate, key))
        return servers[-1]

    yield start
    for server in servers:
        server.stop()


@pytest.fixture(scope="session")
def authority(tmp_path_factory):
    return tls.Authority(tmp_path_factory.mktemp("authority") / "trusted", "Test authority")


@pytest.fixture(scope="session")
def other_authority(tmp_path_factory):
    return tls.Authority(tmp_path_factory.mktemp("authority") / "other", "Somebody else")


@pytest.fixture(params=[False, True], ids=["current", "legacy"])
def stack(request):
    """The arguments of "call" that choose each of the two client stacks."""
    return ["--legacy"] if request.param else []
