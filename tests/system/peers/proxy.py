"""proxy : a peer between the plugin and a server, with or without a login."""

from dataclasses import dataclass

import waiting
from loopback import ADDRESS
from peer import Peer


@dataclass(frozen=True)
class Passage:
    """A request as a proxy has logged it."""

    method: str
    target: str


class Proxy(Peer):
    """Derived classes read their log in passages(), and say what they answer to whom they refuse.
    With `login` they pass on only what comes from USER with PASSWORD.
    """

    USER = "gateway"
    PASSWORD = "sesame-7"
    WITHOUT_LOGIN = (407, "Proxy Authentication Required")
    WRONG_LOGIN = WITHOUT_LOGIN
    SERVER_DOWN = None  # status and reason when the server behind refuses the connection

    def __init__(self, login=False):
        self.login = login
        super().__init__()

    def settings(self):
        """The plugin's way through this proxy, in its configuration."""
        return {"host": ADDRESS, "port": self.port}

    def settings_with_login(self, user=None, password=None):
        """The same, with the right login if no other is given."""
        login = {
            "authenticationType": "HTTP_BASIC",
            "username": user or self.USER,
            "password": password or self.PASSWORD,
        }
        return {**self.settings(), "authentication": login}

    def passages(self):
        """The requests in the order in which they were logged."""
        raise NotImplementedError

    def finished_passages(self, number):
        """Ends the proxy once it has logged so many: all that it has logged."""
        waiting.until(f"{self.NAME} logs {number}", lambda: len(self.passages()) >= number)
        self.stop()
        return self.passages()
