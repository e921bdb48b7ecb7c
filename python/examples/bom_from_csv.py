"""Loads a bill of materials from a CSV file into a repository and prints
where each part is used.

    python3 bom_from_csv.py bike-bom.csv /tmp/bikes

The CSV has one row per use: parent, part, quantity and, optionally, mass
(kg). A row without a parent names a top-level product. A part that appears
under several parents is one item that each of them uses, so the report
shows every assembly a change to it would reach. Everything is checked in
at once, one check-in per product; the repository (made when missing, as
`udm init` lays it out) must not hold items of the same names yet.
"""

import argparse
import csv
import sys

import vqkudm


def read_rows(path):
    with open(path, newline="", encoding="utf-8") as file:
        rows = list(csv.DictReader(file))
    for number, row in enumerate(rows, start=2):
        if not (row.get("part") or "").strip():
            sys.exit(f"{path}:{number}: the part is missing")
    return rows


def load(repo, rows):
    """Creates the products and parts, adds the uses, checks the products in."""
    products = [row["part"] for row in rows if not row["parent"]]
    items = {}
    for row in rows:
        name = row["part"]
        if name in items:
            continue
        if repo.find(name):
            sys.exit(f"the repository already has an item named {name!r}")
        cdef = "UDMProject" if name in products else "UDMPart"
        items[name] = repo.create(cdef, name)
        if row.get("mass"):
            items[name]["mass"] = float(row["mass"])
    for row in rows:
        if row["parent"]:
            parent = items.get(row["parent"])
            if parent is None:
                sys.exit(f"{row['part']!r} is used by {row['parent']!r}, which has no row of its own")
            parent.add_child(items[row["part"]], quantity=float(row["quantity"] or 1))
    for name in products:
        items[name].checkin("loaded from the bill of materials", recursive=True)
    return items


def quantity(use):
    return use.attributes.get("quantity") or 1.0


def totals_in(product):
    """How many of each part one product holds, through every level."""
    totals = {}

    def walk(item, factor):
        for use in item.uses:
            count = factor * quantity(use)
            totals[use.child.name] = totals.get(use.child.name, 0.0) + count
            walk(use.child, count)

    walk(product, 1.0)
    return totals


def where_used_report(items):
    """For each part: the assemblies using it directly, and how many of it
    each top-level product holds in all."""
    totals = {}
    for name, item in sorted(items.items()):
        users = item.where_used()
        if not users:
            continue
        direct = []
        for user in users:
            if user.level == 1:
                count = sum(quantity(use) for use in user.parent.uses if use.child == item)
                direct.append(f"{user.parent.name} x{count:g}")
        products = []
        for user in users:
            if not user.parent.parents():
                holds = totals.setdefault(user.parent.name, totals_in(user.parent))
                products.append(f"{user.parent.name} x{holds[name]:g}")
        print(name)
        print(f"  used by {', '.join(direct)}")
        print(f"  in      {', '.join(products)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("csv", help="the bill of materials")
    parser.add_argument("repository", help="the repository's directory")
    arguments = parser.parse_args()
    rows = read_rows(arguments.csv)
    with vqkudm.open(arguments.repository) as repo:
        items = load(repo, rows)
        print(f"Loaded {len(items)} items into {repo.name}\n")
        where_used_report(items)


if __name__ == "__main__":
    main()
