# SPDX-License-Identifier: Apache-2.0
"""A machine's metrics over HTTP, as the agent serves them."""
import http.server


class Exporter(http.server.BaseHTTPRequestHandler):
    """Answers with what the subclass's metrics() returns."""

    def metrics(self):
        raise NotImplementedError

    def do_GET(self):
        body = self.metrics().encode()
        self.send_response(200)
        self.send_header("Content-Type", "text/plain; version=0.0.4")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass
