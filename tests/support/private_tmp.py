# SPDX-License-Identifier: Apache-2.0
"""A /tmp of one's own, in a mount namespace of one's own."""
import pathlib
import subprocess

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent


def replace_tmp():
    """The project stays visible, also when it lies in there."""
    def mount(*words):
        subprocess.run(["mount", *words], check=True)

    hidden = PROJECT.is_relative_to("/tmp")
    if hidden:
        mount("--bind", str(PROJECT), "/mnt")
    mount("-t", "tmpfs", "none", "/tmp")
    if hidden:
        PROJECT.mkdir(parents=True)
        mount("--bind", "/mnt", str(PROJECT))
