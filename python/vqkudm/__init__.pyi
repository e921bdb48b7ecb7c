import datetime
import enum
import os
from types import TracebackType
import pathlib
from typing import Any, Callable, Iterable, Iterator, Mapping, NamedTuple, Optional, Sequence, Type, Union, overload

Value = Union[None, bool, int, float, str, datetime.datetime, datetime.date, list[str]]
PathLike = Union[str, os.PathLike[str]]

class Category(enum.IntEnum):
    STATE = 1000
    INVALID_ARGUMENT = 1001
    UNSUPPORTED = 1002
    FILE = 1003

class SubCategory(enum.IntEnum):
    GENERAL = 1100
    EMPTY = 1101
    NULL = 1102
    NOT_FOUND = 1103
    WRONG_TYPE = 1104
    LIST_EMPTY = 1105
    OUT_OF_RANGE = 1106
    DATABASE = 1107
    CONFLICT = 1108
    SYNTAX = 1109
    IO = 1110
    FOLDER_CREATION = 1113
    FILE_EXISTS = 1121

class Error(Exception):
    message: str
    category: Optional[Union[Category, int]]
    sub_category: Optional[Union[SubCategory, int]]
    context: list[str]

class StateError(Error): ...
class InvalidArgumentError(Error, ValueError): ...
class UnsupportedError(Error): ...
class FileError(Error): ...

class WhereUsed(NamedTuple):
    parent: Item
    level: int
    group: str
    uses: int

class Use(NamedTuple):
    id: str
    group: str
    child: Item
    attributes: dict[str, Value]

class Relation(NamedTuple):
    uid: str
    type: str
    left: Item
    right: Item
    bidirectional: bool

class File(NamedTuple):
    name: str
    folder: str
    size: int
    hash: Optional[str]
    modified: Optional[datetime.datetime]
    added: Optional[datetime.datetime]
    external: bool

class Preview(NamedTuple):
    name: str
    size: int
    hash: Optional[str]
    type: str
    description: str
    default: bool

class Change(NamedTuple):
    kind: str
    uid: str
    item: Optional[Item]
    attribute: Optional[str]
    value: Value
    child: Optional[Item]
    url: Optional[str]
    session_id: str

class Attribute(NamedTuple):
    name: str
    type: str
    default: Optional[str]
    mandatory: bool
    valid_values: list[str]
    display_name: str
    description: str

class Definition(NamedTuple):
    name: str
    derived_from: Optional[str]
    attributes: list[Attribute]
    groups: dict[str, list[str]]

class Revision:
    @property
    def uid(self) -> str: ...
    @property
    def line(self) -> str: ...
    @property
    def number(self) -> int: ...
    @property
    def name(self) -> str: ...
    @property
    def comment(self) -> str: ...
    @property
    def by(self) -> Optional[str]: ...
    @property
    def time(self) -> Optional[datetime.datetime]: ...
    @property
    def previous(self) -> Optional[Revision]: ...
    @property
    def next(self) -> list[Revision]: ...
    @property
    def branched(self) -> bool: ...
    @property
    def item(self) -> Item: ...

class Subscription:
    @property
    def closed(self) -> bool: ...
    def close(self) -> None: ...
    def __enter__(self) -> Subscription: ...
    def __exit__(
        self,
        exc_type: Optional[Type[BaseException]],
        exc: Optional[BaseException],
        tb: Optional[TracebackType],
    ) -> bool: ...

class Finding(NamedTuple):
    check: str
    subject: str
    message: str
    fault: bool
    removed: bool

class Verification(NamedTuple):
    sound: bool
    schema_version: int
    entities: int
    revisions: int
    file_records: int
    contents: int
    findings: list[Finding]

Progress = Callable[[str, int, int], object]

class CheckOut:
    @property
    def item(self) -> Item: ...
    def __enter__(self) -> Item: ...
    def __exit__(
        self,
        exc_type: Optional[Type[BaseException]],
        exc: Optional[BaseException],
        tb: Optional[TracebackType],
    ) -> bool: ...

class Item:
    name: str
    @property
    def uid(self) -> str: ...
    @property
    def revision(self) -> int: ...
    @property
    def latest_revision(self) -> int: ...
    @property
    def cdef(self) -> str: ...
    @property
    def url(self) -> str: ...
    @property
    def checked_out(self) -> bool: ...
    @property
    def modified(self) -> bool: ...
    @property
    def deleted(self) -> bool: ...
    @property
    def created_by(self) -> Optional[str]: ...
    @property
    def created(self) -> Optional[datetime.datetime]: ...
    @property
    def modified_by(self) -> Optional[str]: ...
    @property
    def modified_time(self) -> Optional[datetime.datetime]: ...
    @property
    def attributes(self) -> dict[str, Value]: ...
    @property
    def children(self) -> list[Item]: ...
    def __getitem__(self, name: str) -> Value: ...
    def __setitem__(self, name: str, value: Value) -> None: ...
    def __contains__(self, name: str) -> bool: ...
    def checkout(self, comment: str = "", recursive: bool = False) -> CheckOut: ...
    def checkin(self, comment: str = "", recursive: bool = False, keep_checked_out: bool = False) -> None: ...
    def undo(self) -> None: ...
    def children_in(self, group: str) -> list[Item]: ...
    def add_child(self, child: Item, group: Optional[str] = None, **use_attributes: Value) -> None: ...
    def where_used(self, levels: int = 0) -> list[WhereUsed]: ...
    @property
    def uses(self) -> list[Use]: ...
    def parents(self) -> list[Item]: ...
    @property
    def root(self) -> Item: ...
    def relations(self, direction: str = "both") -> list[Relation]: ...
    def relate(self, other: Item, type: str = "UDMRelGeneral", bidirectional: bool = False) -> Relation: ...
    def unrelate(self, other: Item) -> bool: ...
    @property
    def classifications(self) -> list[Item]: ...
    def classify(self, category: Item) -> None: ...
    def unclassify(self, category: Item) -> None: ...
    @property
    def files(self) -> list[File]: ...
    def add_file(self, path: PathLike) -> None: ...
    def remove_file(self, name: str) -> None: ...
    def fetch_files(self, folder: PathLike, *, overwrite: bool = True) -> list[str]: ...
    @property
    def previews(self) -> list[Preview]: ...
    def add_preview(
        self, path: PathLike, *, name: Optional[str] = None, description: str = "", default: bool = False
    ) -> None: ...
    def remove_preview(self, name: str) -> None: ...
    default_preview: Optional[str]
    def fetch_preview(self, folder: PathLike, name: Optional[str] = None) -> str: ...
    def history(self) -> Revision: ...
    @property
    def revisions(self) -> list[Item]: ...
    def __eq__(self, other: object) -> bool: ...
    def __hash__(self) -> int: ...

class QueryIterator(Iterator[Item]):
    def __iter__(self) -> QueryIterator: ...
    def __next__(self) -> Item: ...

class QueryResult:
    @property
    def expression(self) -> str: ...
    def __iter__(self) -> QueryIterator: ...
    def __len__(self) -> int: ...
    def records(self, *names: str) -> list[dict[str, Value]]: ...

class Repository:
    @property
    def name(self) -> str: ...
    @property
    def closed(self) -> bool: ...
    def __enter__(self) -> Repository: ...
    def __exit__(
        self,
        exc_type: Optional[Type[BaseException]],
        exc: Optional[BaseException],
        tb: Optional[TracebackType],
    ) -> bool: ...
    def close(self) -> None: ...
    def create(
        self,
        cdef: str,
        name: str,
        *,
        parent: Optional[Item] = None,
        group: Optional[str] = None,
        **attributes: Value,
    ) -> Item: ...
    def get(self, uid_or_url: str) -> Item: ...
    def find(self, name: str) -> list[Item]: ...
    def query(
        self,
        expression: str = "",
        *,
        sort: Union[None, str, Sequence[str]] = None,
        page_size: int = 100,
        ignore_case: bool = False,
    ) -> QueryResult: ...
    def subscribe(self, callback: Callable[[Change], object]) -> Subscription: ...
    def export(
        self, items: Union[Item, Iterable[Item]], path: PathLike, *, progress: Optional[Progress] = None
    ) -> pathlib.Path: ...
    def import_(self, path: PathLike, *, progress: Optional[Progress] = None) -> int: ...
    @property
    def definitions(self) -> dict[str, Definition]: ...
    def add_attribute(
        self,
        cdef: str,
        name: str,
        type: str,
        *,
        default: Union[None, str, int, float, bool] = None,
        mandatory: bool = False,
        valid_values: Optional[Sequence[str]] = None,
        display_name: Optional[str] = None,
        description: str = "",
    ) -> Definition: ...
    def verify(self, *, prune: bool = False) -> Verification: ...

@overload
def open(path: PathLike, *, name: Optional[str] = None) -> Repository: ...
@overload
def open(*, name: str, base_dir: Optional[PathLike] = None) -> Repository: ...
@overload
def open(path: Mapping[str, Union[str, int, float, bool, os.PathLike[str]]]) -> Repository: ...
