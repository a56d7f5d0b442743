"""Whether a daemon serves, for who waits for that."""

import contextlib
import http.client


def answers(port):
    # From another address: while nothing listens, a connection from the same one can get the port itself as its near
    # end, and then nothing can listen there for a minute.
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=2, source_address=("127.0.0.2", 0))
    with contextlib.closing(connection):
        try:
            connection.request("GET", "/healthz")
            return connection.getresponse().status == 200
        except (OSError, http.client.HTTPException):
            return False
