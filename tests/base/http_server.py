#!/usr/bin/env python3
"""HTTP server for the download tests, on 127.0.0.1 only.

usage: http_server.py [DIR]   prints the port on the first line of stdout.

GET /file/N        N bytes of pattern (byte i = i*7 % 251), with Range support
GET /drop/N        announces N bytes, sends half of them and closes; honours Range
GET /status/C      answers status C
GET /loop          redirects to itself
GET /hang          reads the request and never answers
GET /pair/A        answers only once /pair/B has been asked too (A, B = a or b)
GET /hits          JSON: how many GETs each path has had
GET /static/NAME   NAME from DIR
"""
import http.server, json, os, re, sys, threading, time
from collections import Counter

ROOT = sys.argv[1] if len(sys.argv) > 1 else "."
hits = Counter()
arrived = {"a": threading.Event(), "b": threading.Event()}


def pattern(start, end):
    return bytes((i * 7) % 251 for i in range(start, end))


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.0"

    def log_message(self, *args):
        pass

    def send_body(self, total, send_upto=None):
        rng = re.match(r"bytes=(\d+)-$", self.headers.get("Range", ""))
        start = int(rng.group(1)) if rng else 0
        if start > total:
            self.send_response(416)
            self.send_header("Content-Range", "bytes */%d" % total)
            self.end_headers()
            return
        self.send_response(206 if rng else 200)
        if rng:
            self.send_header("Content-Range", "bytes %d-%d/%d" % (start, total - 1, total))
        self.send_header("Content-Length", str(total - start))
        self.end_headers()
        end = total if send_upto is None or rng else send_upto
        pos = start
        while pos < end:
            step = min(1 << 20, end - pos)
            self.wfile.write(pattern(pos, pos + step))
            pos += step

    def do_GET(self):
        hits[self.path] += 1
        parts = self.path.split("/")
        verb = parts[1] if len(parts) > 1 else ""
        arg = parts[2] if len(parts) > 2 else ""
        if verb == "file":
            self.send_body(int(arg))
        elif verb == "drop":
            self.send_body(int(arg), send_upto=int(arg) // 2)
            self.wfile.flush()
            self.close_connection = True
        elif verb == "status":
            body = b"status page\n"
            self.send_response(int(arg))
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)
        elif verb == "loop":
            self.send_response(302)
            self.send_header("Location", "/loop")
            self.send_header("Content-Length", "0")
            self.end_headers()
        elif verb == "hang":
            time.sleep(30)
        elif verb == "pair":
            arrived[arg].set()
            other = "b" if arg == "a" else "a"
            if arrived[other].wait(20):
                self.send_body(100000)
            else:
                self.send_response(504)
                self.end_headers()
        elif verb == "hits":
            body = json.dumps(hits).encode()
            self.send_response(200)
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)
        elif verb == "static":
            path = os.path.join(ROOT, os.path.basename(arg))
            if not os.path.isfile(path):
                self.send_error(404)
                return
            size = os.path.getsize(path)
            self.send_response(200)
            self.send_header("Content-Length", str(size))
            self.end_headers()
            with open(path, "rb") as f:
                while True:
                    chunk = f.read(1 << 20)
                    if not chunk:
                        break
                    self.wfile.write(chunk)
        else:
            self.send_error(404)


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
server.daemon_threads = True
print(server.server_address[1], flush=True)
server.serve_forever()
