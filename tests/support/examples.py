# SPDX-License-Identifier: Apache-2.0
"""The example flows as tests need them."""
import pathlib
import re


def endless_orders(examples):
    """The text of orders.toml in that folder, for flows that never end and are run from anywhere."""
    text = pathlib.Path(examples, "orders.toml").read_text()
    lines = pathlib.Path(examples, "orders.txt")
    text = text.replace('lines = "orders.txt"', f'lines = "{lines}"\nrepeat = 1000000')
    return re.sub(r"count = \d+, ", "", text)
