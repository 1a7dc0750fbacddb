"""Whether a program on a pseudo-terminal has taken all its input and waits for more."""

import fcntl
import os
import struct
import termios
from pathlib import Path

TIOCGPTPEER = 0x5441  # opens a pseudo-terminal by its other end; Python does not have it yet


def open_terminal(child):
    """Opens the terminal on which pexpect's child runs, which need not be below /dev/pts."""
    return fcntl.ioctl(child.child_fd, TIOCGPTPEER, os.O_RDONLY | os.O_NOCTTY | os.O_NONBLOCK)


def last_process(child):
    """The process at the end of the shells and tracers."""
    process = child.pid
    while children := Path(f"/proc/{process}/task/{process}/children").read_text().split():
        process = children[-1]
    return process


def is_idle(child):
    """Whether the program has ended, or taken all input and sleeps."""
    tty = open_terminal(child)
    unread = fcntl.ioctl(tty, termios.FIONREAD, struct.pack("I", 0))
    os.close(tty)
    try:
        stat = Path(f"/proc/{last_process(child)}/stat").read_text()
        state = stat.rsplit(")", 1)[1].split()[0]
    except OSError:
        return True
    return state in "SZ" and struct.unpack("I", unread)[0] == 0
