"""What the server knows of the tickets it issued: only their hashes, and what the client sent to prove one."""

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


def open_body(request):
    """The parameters of a sealed request in the operator's list."""
    body = base64.b64decode(base64.b64decode(request["body_base64"]))
    opened = subprocess.run(
        ["openssl", "enc", "-d", "-aes-128-cbc", "-K", KEY.hex(), "-iv", VECTOR.hex()],
        input=body, capture_output=True, timeout=10, check=False)
    if opened.returncode != 0:
        raise Failure("a request body cannot be opened: " + opened.stderr.decode().strip())
    return json.loads(zlib.decompress(opened.stdout))


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
