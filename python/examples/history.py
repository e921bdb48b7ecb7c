"""Prints the history of an item: its revisions, and the branches made from
them, as a tree.

    python3 history.py /tmp/bikes frame

Each line shows the revision number, when and by whom it was made, and its
comment; a branch is indented under the revision it was made from.
"""

import argparse
import sys

import vqkudm


def show(revision, depth=0):
    when = revision.time.strftime("%Y-%m-%d %H:%M") if revision.time else "?"
    print(f"{'    ' * depth}r{revision.number}  {when}  {revision.by or '?'}  {revision.comment}")
    for following in revision.next:
        if following.branched:
            print(f"{'    ' * (depth + 1)}branch {following.name!r} ({following.line})")
            show(following, depth + 1)
        else:
            show(following, depth)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("repository", help="the repository's directory")
    parser.add_argument("item", help="the item's name or identifier")
    arguments = parser.parse_args()
    with vqkudm.open(arguments.repository) as repo:
        try:
            found = [repo.get(arguments.item)]
        except vqkudm.InvalidArgumentError:
            found = repo.find(arguments.item)
        if len(found) != 1:
            sys.exit(f"{len(found) or 'no'} items are named {arguments.item!r}")
        root = found[0].history()
        print(root.name)
        show(root, 1)


if __name__ == "__main__":
    main()
