#!/usr/bin/env bash
# Serves a folder over HTTPS on 127.0.0.1 for an end-to-end run of an update, with a
# certificate authority of its own (made once, kept in FOLDER.tls beside it).
#
# Usage: scripts/release/serve-local.sh FOLDER [PORT]   (default port 8443)
#   FOLDER holds what make-release.sh wrote (tessel/latest.json and Tessel-X.zip); a request
#   for /tessel/latest.json is answered with FOLDER/tessel/latest.json. Build the application
#   with -DTESSEL_UPDATE_CA_BUNDLE=FOLDER.tls/ca.pem and
#   -DTESSEL_UPDATE_MANIFEST_URL=https://127.0.0.1:PORT/tessel/latest.json to trust it.
#   Runs until interrupted. Needs openssl and python3.
set -euo pipefail

fail() { echo "serve-local: $*" >&2; exit 1; }
[ $# -ge 1 ] || fail "usage: $0 FOLDER [PORT]"
folder=$(cd "$1" && pwd) || fail "no folder $1"
port="${2:-8443}"
tls="$folder.tls"  # beside the folder, never served

if [ ! -f "$tls/server.pem" ]; then
  mkdir -p "$tls"
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 30 \
    -subj "/CN=Tessel Local Update Authority" -keyout "$tls/ca.key" -out "$tls/ca.pem" 2>/dev/null
  openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj "/CN=127.0.0.1" \
    -keyout "$tls/server.key" -out "$tls/server.csr" 2>/dev/null
  printf 'subjectAltName=IP:127.0.0.1\nbasicConstraints=critical,CA:FALSE\n' >"$tls/ext.cnf"
  openssl x509 -req -in "$tls/server.csr" -CA "$tls/ca.pem" -CAkey "$tls/ca.key" \
    -CAcreateserial -days 30 -extfile "$tls/ext.cnf" -out "$tls/server.pem" 2>/dev/null
fi

echo "serving $folder on https://127.0.0.1:$port/ (authority: $tls/ca.pem)"
# Python's own HTTP server behind TLS: files under FOLDER only, 404 for anything else.
exec python3 - "$folder" "$port" "$tls" <<'PYTHON'
import functools, http.server, ssl, sys
folder, port, tls = sys.argv[1], int(sys.argv[2]), sys.argv[3]
handler = functools.partial(http.server.SimpleHTTPRequestHandler, directory=folder)
server = http.server.ThreadingHTTPServer(("127.0.0.1", port), handler)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(tls + "/server.pem", tls + "/server.key")
server.socket = context.wrap_socket(server.socket, server_side=True)
server.serve_forever()
PYTHON
