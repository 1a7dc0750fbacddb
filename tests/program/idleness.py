"""Whether a program on a pseudo-terminal has taken all its input and waits for more."""

import fcntl
import os
import struct
import termios
from pathlib import Path

TIOCGPTN = 0x80045430  # asks a pseudo-terminal's number; Python does not have it yet


def terminal_of(child):
    """The path of the terminal on which pexpect's child runs."""
    number = fcntl.ioctl(child.child_fd, TIOCGPTN, struct.pack("I", 0))
    return f"/dev/pts/{struct.unpack('I', number)[0]}"


def last_process(child):
    """The process at the end of the shells and tracers."""
    process = child.pid
    while children := Path(f"/proc/{process}/task/{process}/children").read_text().split():
        process = children[-1]
    return process


def is_idle(child, terminal):
    """Whether the program has ended, or taken all input and sleeps."""
    try:
        tty = os.open(terminal, os.O_RDONLY | os.O_NOCTTY | os.O_NONBLOCK)
        unread = fcntl.ioctl(tty, termios.FIONREAD, struct.pack("I", 0))
        os.close(tty)
        stat = Path(f"/proc/{last_process(child)}/stat").read_text()
        state = stat.rsplit(")", 1)[1].split()[0]
    except OSError:
        return True
    return state in "SZ" and struct.unpack("I", unread)[0] == 0
