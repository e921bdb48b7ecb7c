"""Engineering data in a vqkudm repository, from Python.

Items with typed attributes, files and preview images, product structure,
relations and categories, check-out and check-in, a branching history,
queries, change subscriptions, export and import and a schema editable at
run time, kept by the vqkudm runtime in an embedded (SQLite) or a
PostgreSQL repository::

    import vqkudm

    with vqkudm.open("bike") as repo:
        frame = repo.create("UDMPart", "frame", mass=2.1)
        repo.create("UDMPart", "bolt", parent=frame, mass=0.02)
        frame.checkin("first frame", recursive=True)
        with frame.checkout("lighter"):
            frame["mass"] = 1.9
        for part in repo.query("cdef = 'UDMPart' and mass > 1", sort="mass"):
            print(part.name, part["mass"])

Failures raise :class:`Error` or one of its subclasses, carrying the
runtime's ``message``, ``category`` and ``sub_category``.
"""

from ._vqkudm import (
    Attribute,
    Category,
    Change,
    CheckOut,
    Definition,
    Error,
    File,
    FileError,
    Finding,
    InvalidArgumentError,
    Item,
    Preview,
    QueryIterator,
    QueryResult,
    Relation,
    Repository,
    Revision,
    StateError,
    SubCategory,
    Subscription,
    UnsupportedError,
    Use,
    Verification,
    WhereUsed,
    open,
)

__all__ = [
    "Attribute",
    "Category",
    "Change",
    "CheckOut",
    "Definition",
    "Error",
    "File",
    "FileError",
    "Finding",
    "InvalidArgumentError",
    "Item",
    "Preview",
    "QueryIterator",
    "QueryResult",
    "Relation",
    "Repository",
    "Revision",
    "StateError",
    "SubCategory",
    "Subscription",
    "UnsupportedError",
    "Use",
    "Verification",
    "WhereUsed",
    "open",
]

# Everything reports itself as part of the package, not of the extension.
for _name in __all__:
    try:
        globals()[_name].__module__ = __name__
    except (AttributeError, TypeError):
        pass
del _name
