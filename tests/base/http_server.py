#!/usr/bin/env python3
# Web server of the download tests, on 127.0.0.1 only; prints its port first.
# usage: http_server.py DIR [PEM]   (DIR is served under /static/; with PEM, a key and its
# certificate, the same is served over TLS too, its port on the second line)
# /file/N: N pattern bytes (byte i = i*7 % 251), Range honoured; /drop/N: the same, but a
# request without Range gets half and a closed connection; /status/C; /loop redirects to
# itself; /hang never answers; /pair/a and /pair/b answer once both have asked; /hits:
# JSON count of GETs by path.
import http.server, json, os, re, ssl, sys, threading, time
from collections import Counter

hits = Counter()
arrived = {"a": threading.Event(), "b": threading.Event()}


class Handler(http.server.BaseHTTPRequestHandler):
    def log_message(self, *args):
        pass

    def reply(self, code, body=b"", headers=()):
        self.send_response(code)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def pattern(self, total, upto=None):
        rng = re.match(r"bytes=(\d+)-$", self.headers.get("Range", ""))
        start = int(rng.group(1)) if rng else 0
        if start > total:
            return self.reply(416, headers=[("Content-Range", "bytes */%d" % total)])
        self.send_response(206 if rng else 200)
        if rng:
            self.send_header("Content-Range", "bytes %d-%d/%d" % (start, total - 1, total))
        self.send_header("Content-Length", str(total - start))
        self.end_headers()
        self.wfile.write(bytes((i * 7) % 251 for i in range(start, total if rng or upto is None else upto)))

    def do_GET(self):
        hits[self.path] += 1
        _, verb, arg = (self.path + "/").split("/")[:3]
        if verb == "file":
            self.pattern(int(arg))
        elif verb == "drop":
            self.pattern(int(arg), int(arg) // 2)
        elif verb == "status":
            self.reply(int(arg), b"status page\n")
        elif verb == "loop":
            self.reply(302, headers=[("Location", "/loop")])
        elif verb == "hang":
            time.sleep(30)
        elif verb == "pair":
            arrived[arg].set()
            if arrived["b" if arg == "a" else "a"].wait(20):
                self.pattern(100000)
        elif verb == "hits":
            self.reply(200, json.dumps(hits).encode())
        elif verb == "static" and os.path.isfile(os.path.join(sys.argv[1], arg)):
            path = os.path.join(sys.argv[1], arg)
            self.send_response(200)
            self.send_header("Content-Length", str(os.path.getsize(path)))
            self.end_headers()
            with open(path, "rb") as f:
                while chunk := f.read(1 << 20):
                    self.wfile.write(chunk)
        else:
            self.reply(404)


servers = [http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler) for _ in sys.argv[1:3]]
if len(servers) > 1:
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(sys.argv[2])
    servers[1].socket = context.wrap_socket(servers[1].socket, server_side=True)
for server in servers:
    server.daemon_threads = True
    print(server.server_address[1], flush=True)
    threading.Thread(target=server.serve_forever, daemon=True).start()
threading.Event().wait()
