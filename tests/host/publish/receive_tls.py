#!/usr/bin/env python3
"""receive_tls.py CERTIFICATE KEY: takes webhooks over HTTPS on a free port of this machine. The first
line that it writes is the port; then the id of each message."""
import http.server
import ssl
import sys


class Receiver(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_POST(self):
        self.rfile.read(int(self.headers["Content-Length"]))
        print(self.headers["webhook-id"], flush=True)
        self.send_response(200)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def log_message(self, *args):
        pass


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Receiver)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(sys.argv[1], sys.argv[2])
server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
print(server.server_port, flush=True)
server.serve_forever()
