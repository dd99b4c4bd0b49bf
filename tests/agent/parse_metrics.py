# SPDX-License-Identifier: Apache-2.0
"""Reads metrics from standard input as their readers do. The argument is "openmetrics" or
"prometheus". Prints every sample with its labels in the order of the text; fails with the reader's
complaint."""
import sys

from prometheus_client import parser
from prometheus_client.openmetrics import parser as open_parser

text = sys.stdin.buffer.read().decode("utf-8")
reader = open_parser if sys.argv[1] == "openmetrics" else parser
for family in reader.text_string_to_metric_families(text):
    for sample in family.samples:
        labels = ",".join(f"{name}={value}" for name, value in sample.labels.items())
        print(f"{sample.name}|{labels}|{sample.value:g}".encode("unicode_escape").decode())
