"""The management server's operator interface."""

import json
import urllib.request


class OperatorDesk:
    def __init__(self, port):
        self.base = f"http://127.0.0.1:{port}/operator/"
        # Loopback never goes through a proxy.
        self.opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))

    def open_page(self, path):
        """Opens a page of the server as a browser does."""
        with self.opener.open(self.base.removesuffix("/operator/") + path, timeout=5) as answer:
            return answer.read().decode()

    def _call(self, path, body=None):
        data = json.dumps(body).encode() if body is not None else None
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"})
        with self.opener.open(request, timeout=5) as answer:
            return json.load(answer)

    def action(self, name, **fields):
        self._call("action", {"action": name, **fields})

    def spoil(self, path, kind, **fields):
        """Makes the next answer of a path go wrong."""
        self._call("faults", {"path": path, "kind": kind, "count": 1, **fields})

    def is_spoiling(self, path):
        """Whether what is to go wrong at a path still waits for its request."""
        return any(fault["path"] == path for fault in self._call("faults")["faults"])

    def sessions(self, userid):
        return [entry for entry in self._call("state.json")["sessions"] if entry["userid"] == userid]

    def devices(self):
        return self._call("state.json")["devices"]

    def certificates(self):
        return self._call("state.json")["certificates"]

    def certificate_state(self, serial):
        """What the server tells whoever asks whether a certificate is still good."""
        return json.loads(self.open_page("/api/inac/ca/checkstatus?serial=" + serial))["data"]["state"]

    def requests(self, path):
        return [entry for entry in self._call("requests.json")["requests"] if entry["path"] == path]
