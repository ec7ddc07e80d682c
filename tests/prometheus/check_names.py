#!/usr/bin/env python3
"""Whether the alert rules and the dashboard ask for metrics that there are, in queries that
Prometheus reads.

check_names.py METRICS_H ALERTS DASHBOARD PROMTOOL
"""

import json
import re
import subprocess
import sys
import tempfile

NAME = re.compile(r"\bvca_[a-z_]+")


def known_metrics(header):
    names = set(re.findall(r'inline constexpr const char\* k\w+ = "(vca_[a-z_]+)"', header))
    assert len(names) > 10, "the list of metrics has another form"
    parts = {name + end for name in names if name.endswith("_seconds")
             for end in ("_bucket", "_sum", "_count")}
    return names | parts


def dashboard_queries(dashboard):
    queries = [target["expr"] for panel in dashboard["panels"] for target in panel["targets"]]
    assert queries, "the dashboard asks for nothing"
    variables = [each["query"]["query"] for each in dashboard["templating"]["list"]
                 if each["type"] == "query"]
    return queries, variables


def unknown(texts, known):
    return sorted({name for text in texts for name in NAME.findall(text)} - known)


def readable(queries, promtool):
    rules = {"groups": [{"name": "queries", "rules": [
        {"record": f"query:{number}", "expr": query} for number, query in enumerate(queries)]}]}
    with tempfile.NamedTemporaryFile("w", suffix=".yml") as file:
        json.dump(rules, file)  # which YAML includes
        file.flush()
        check = subprocess.run([promtool, "check", "rules", file.name], capture_output=True,
                               text=True, check=False)
    return check.returncode == 0, check.stdout + check.stderr


def main():
    header, alerts, dashboard, promtool = sys.argv[1:]
    with open(header, encoding="utf-8") as file:
        known = known_metrics(file.read())
    with open(alerts, encoding="utf-8") as file:
        rules = [line for line in file if not line.lstrip().startswith(("#", "- name", "summary"))]
    with open(dashboard, encoding="utf-8") as file:
        queries, variables = dashboard_queries(json.load(file))
    faults = [f"{name} is no metric" for name in unknown(rules + queries + variables, known)]
    assert unknown(["vca_no_such_thing"], known), "a wrong name would not be found"
    fine, message = readable(queries, promtool)
    if not fine:
        faults.append(message)
    assert not readable(["rate(vca_frames_total"], promtool)[0], "a wrong query would not be found"
    print("\n".join(faults) or f"{len(queries)} queries")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
