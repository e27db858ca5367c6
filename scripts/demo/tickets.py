"""What the server knows of the tickets it issued, only their hashes, and the sealed form of what a client sends."""

import base64
import hashlib
import json
import sqlite3
import subprocess
import zlib
from urllib.parse import quote

from processes import Failure

# The key that the protocol fixes for request bodies.
KEY, VECTOR = b"Rk5w9ZqT2&hNe7Xc", b"pWq4nLs8Ty#%!3Hd"


def hash_of(ticket):
    return hashlib.sha256(ticket.encode()).digest()


def live_hashes(database):
    connection = sqlite3.connect(f"file:{quote(database)}?mode=ro", uri=True, timeout=5)
    try:
        rows = connection.execute("SELECT ticket_hash, previous_hash FROM sessions WHERE state = 'live'").fetchall()
    finally:
        connection.close()
    return {bytes(value) for row in rows for value in row if value}


def _cipher(direction, data):
    done = subprocess.run(
        ["openssl", "enc", direction, "-aes-128-cbc", "-K", KEY.hex(), "-iv", VECTOR.hex()],
        input=data, capture_output=True, timeout=10, check=False)
    if done.returncode != 0:
        raise Failure("openssl: " + done.stderr.decode().strip())
    return done.stdout


def open_body(request):
    """The parameters of a sealed request in the operator's list."""
    return json.loads(zlib.decompress(_cipher("-d", base64.b64decode(base64.b64decode(request["body_base64"])))))


def seal(parameters):
    return base64.b64encode(_cipher("-e", zlib.compress(json.dumps(parameters).encode()))).decode()


def find_key(value, key):
    """The first value under the key, however deep."""
    if isinstance(value, dict):
        if key in value:
            return value[key]
        value = list(value.values())
    if isinstance(value, list):
        for part in value:
            found = find_key(part, key)
            if found is not None:
                return found
    return None
