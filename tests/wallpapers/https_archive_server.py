#!/usr/bin/env python3
"""A local HTTPS server for the wallpaper tests and benchmark.

Serves the files of one folder with a self-signed certificate it is given; "/redirect-to-http/NAME"
answers 302 to the same file over plain http, "/redirect-to-https/NAME" 302 to the https address.
Prints the port it listens on as its first line of standard output, then serves until killed.
"""
import http.server
import ssl
import sys


def main():
    folder, cert, key = sys.argv[1], sys.argv[2], sys.argv[3]

    class Handler(http.server.SimpleHTTPRequestHandler):
        def __init__(self, *args, **kwargs):
            super().__init__(*args, directory=folder, **kwargs)

        def log_message(self, *args):
            pass

        def do_GET(self):
            port = self.server.server_address[1]
            for prefix, scheme in (("/redirect-to-http/", "http"), ("/redirect-to-https/", "https")):
                if self.path.startswith(prefix):
                    self.send_response(302)
                    self.send_header("Location", f"{scheme}://127.0.0.1:{port}/{self.path[len(prefix):]}")
                    self.send_header("Content-Length", "0")
                    self.end_headers()
                    return
            super().do_GET()

        def copyfile(self, source, outputfile):
            while True:
                block = source.read(1 << 20)
                if not block:
                    break
                outputfile.write(block)

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(cert, key)
    server.socket = context.wrap_socket(server.socket, server_side=True)
    print(server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
