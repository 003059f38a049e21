# SPDX-License-Identifier: Apache-2.0
"""No system call lies between a stream's first frame and its last.

usage: system_calls_test.py FRAME_LOOP [FRAMES]
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77


def calls_between_marks(*command):
    """The lines of the trace between the program's two marks, and what it printed."""
    with tempfile.NamedTemporaryFile(mode='r') as trace:
        done = subprocess.run(['strace', '-f', '-o', trace.name, *command], text=True,
                              capture_output=True)
        lines = trace.read().splitlines()
    if done.returncode != 0 and not any('execve' in line for line in lines):
        print('System calls were not traced:', done.stderr.strip())
        sys.exit(SKIPPED)
    assert done.returncode == 0, done.stderr
    begin, end = ([i for i, line in enumerate(lines) if f'write(-1, "frames {mark}"' in line]
                  for mark in ('begin', 'end'))
    assert len(begin) == len(end) == 1, 'the marks are not in the trace'
    calls = [line for line in lines[begin[0] + 1:end[0]] if not re.search(r'--- SIG', line)]
    return calls, int(done.stdout)


def main():
    program = os.path.abspath(sys.argv[1])
    frames = int(sys.argv[2]) if len(sys.argv) > 2 else 3000
    if shutil.which('strace') is None:
        print('System calls were not traced: strace is not installed')
        return SKIPPED
    calls, _ = calls_between_marks(program, '1', 'one-call')
    assert [call for call in calls if 'getppid' in call] == calls and calls, \
        f'a call that was made is not seen: {calls}'
    calls, valid = calls_between_marks(program, str(frames))
    assert valid >= frames - 1, f'{valid} of {frames} frames came out'
    assert not calls, f'{len(calls)} system calls in {frames} frames: {calls[:5]}'
    print(f'{frames} frames, {len(calls)} system calls')
    return 0


if __name__ == '__main__':
    sys.exit(main())
