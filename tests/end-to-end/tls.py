"""A certificate authority for tests, and nginx with its certificates."""

import json
import os
import pathlib
import signal
import socket
import subprocess
import time

AUTHORITY_CONFIGURATION = """
[ca]
default_ca = test
[test]
database = {folder}/index.txt
serial = {folder}/serial
new_certs_dir = {folder}
default_md = sha256
policy = any
unique_subject = no
copy_extensions = copy
[any]
commonName = supplied
"""


def _openssl(*arguments):
    done = subprocess.run(["openssl", *map(str, arguments)], capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, done.stderr


class Authority:
    def __init__(self, folder, name):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir()
        self.certificate = self.folder / "authority.pem"
        self.key = self.folder / "authority.key"
        self.configuration = self.folder / "authority.cnf"
        self.configuration.write_text(AUTHORITY_CONFIGURATION.format(folder=self.folder))
        (self.folder / "index.txt").touch()
        (self.folder / "serial").write_text("01\n")
        _openssl(
            "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
            "-keyout", self.key, "-out", self.certificate, "-subj", f"/CN={name}", "-days", 2,
        )

    def issue(self, name, alternative_names, first="20200101000000Z", last="20991231235959Z"):
        """The files of a certificate and its key."""
        key = self.folder / f"{name}.key"
        request = self.folder / f"{name}.csr"
        certificate = self.folder / f"{name}.pem"
        _openssl(
            "req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
            "-keyout", key, "-out", request, "-subj", f"/CN={name}",
            "-addext", f"subjectAltName={alternative_names}",
        )
        _openssl(
            "ca", "-batch", "-notext", "-config", self.configuration, "-cert", self.certificate,
            "-keyfile", self.key, "-startdate", first, "-enddate", last, "-in", request, "-out", certificate,
        )
        return certificate, key


CONFIGURATION = """
{user}daemon off;
worker_processes 1;
pid {folder}/nginx.pid;
error_log {folder}/error.log info;
events {{ worker_connections 64; }}
http {{
  client_body_temp_path {folder}/body;
  proxy_temp_path {folder}/proxy;
  fastcgi_temp_path {folder}/fastcgi;
  uwsgi_temp_path {folder}/uwsgi;
  scgi_temp_path {folder}/scgi;
  default_type application/json;
  log_format line escape=json '{{"connection":"$connection","method":"$request_method",'
      '"path":"$request_uri","accept":"$http_accept","type":"$http_content_type",'
      '"context":"$http_securitycontext","status":"$status","tls":"$ssl_protocol"}}';
  access_log {folder}/access.log line;
  server {{
    listen 127.0.0.1:{port}{tls};
    {certificate}
    {locations}
  }}
}}
"""


class Nginx:
    """nginx in a folder of its own, on a socket whose port the kernel chose."""

    def __init__(self, folder, locations, certificate=None, key=None):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir()
        # nginx takes a listening socket over from its environment, as it does from an older self.
        listener = socket.create_server(("127.0.0.1", 0))
        port = listener.getsockname()[1]
        lines = f"ssl_certificate {certificate}; ssl_certificate_key {key};" if certificate else ""
        configuration = self.folder / "nginx.conf"
        configuration.write_text(
            CONFIGURATION.format(
                folder=self.folder, port=port, locations=locations, certificate=lines,
                user="user root;\n" if os.geteuid() == 0 else "",  # the worker reads test folders
                tls=" ssl" if certificate else "",
            )
        )
        self.process = subprocess.Popen(
            ["/usr/sbin/nginx", "-p", str(self.folder), "-c", str(configuration),
             "-e", str(self.folder / "error.log")],
            pass_fds=[listener.fileno()],
            env={"PATH": os.environ["PATH"], "NGINX": f"{listener.fileno()};"},
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            text=True,
        )
        listener.close()
        self.url = f"{'https' if certificate else 'http'}://127.0.0.1:{port}"

    def requests(self, count):
        """What it was asked. A request is logged after its answer went out: waits for so many of them."""
        log = self.folder / "access.log"
        deadline = time.monotonic() + 20
        while True:
            lines = log.read_text(encoding="utf-8").splitlines()
            if len(lines) >= count or time.monotonic() > deadline:
                return [json.loads(line) for line in lines]
            time.sleep(0.02)

    def errors(self):
        return (self.folder / "error.log").read_text(encoding="utf-8")

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        self.process.communicate(timeout=30)
