"""Loading the shared library, its four entry points and the report sink.

The library is looked for in this order:
  1. the file named by the environment variable TOVREL_LIBRARY (when it is
     set, nothing else is tried: the caller asked for that one),
  2. beside this package (libtovrel.so, tovrel.dll, libtovrel.dylib),
  3. the system's library search path.
"""

import ctypes
import ctypes.util
import os
import sys
import threading
import warnings

ENV_VARIABLE = "TOVREL_LIBRARY"

if sys.platform == "win32":
    _FILE_NAMES = ("tovrel.dll",)
elif sys.platform == "darwin":
    _FILE_NAMES = ("libtovrel.dylib",)
else:
    _FILE_NAMES = ("libtovrel.so", "libtovrel.so.0")


class LibraryNotFound(OSError):
    """The shared library could not be found or loaded; the message lists
    every place that was tried."""


class TovrelError(RuntimeError):
    """The library refused a call and drew nothing. `lines` holds the
    library's report lines, the message joins them."""

    def __init__(self, lines):
        self.lines = tuple(lines)
        super().__init__(" / ".join(self.lines))


class TovrelWarning(UserWarning):
    """A report line of the library that came outside a call of this
    package (a call made by other code in the process)."""


class ImageDescriptor(ctypes.Structure):
    _fields_ = [
        ("origin_x", ctypes.c_int32),
        ("origin_y", ctypes.c_int32),
        ("width", ctypes.c_int32),
        ("height", ctypes.c_int32),
        ("format", ctypes.c_uint8),
        ("alpha_mode", ctypes.c_uint8),
        ("reserved0", ctypes.c_uint16),
        ("pixels", ctypes.c_void_p),
        ("pitch", ctypes.c_int32),
        ("reserved1", ctypes.c_uint32),
        ("alpha_kind", ctypes.c_uint32),
        ("alpha", ctypes.c_void_p),
        ("alpha_pitch", ctypes.c_int32),
    ]


class MapVertex(ctypes.Structure):
    _fields_ = [(name, ctypes.c_float) for name in ("u", "v", "w", "x", "y")]


_DESC_P = ctypes.POINTER(ImageDescriptor)
_SINK = ctypes.CFUNCTYPE(None, ctypes.c_char_p, ctypes.c_void_p)

# Report lines of the call running on this thread. The library calls the
# sink on the thread that made the call, one whole line at a time; a line
# from a call this package did not make becomes a warning.
_reports = threading.local()


def _on_report(line, _user):
    text = line.decode("utf-8", "replace").rstrip("\n") if line else ""
    pending = getattr(_reports, "lines", None)
    if pending is not None:
        pending.append(text)
    else:
        warnings.warn(text, TovrelWarning, stacklevel=1)


_sink = _SINK(_on_report)  # kept alive for as long as the library is loaded


def _candidates():
    """(description, path or name) of every place to look, in order."""
    chosen = os.environ.get(ENV_VARIABLE)
    if chosen:
        return [(f"{ENV_VARIABLE}={chosen}", chosen)]
    here = os.path.dirname(os.path.abspath(__file__))
    found = [(os.path.join(here, n), os.path.join(here, n)) for n in _FILE_NAMES]
    system = ctypes.util.find_library("tovrel")
    found += [(f"system search path ({n})", n) for n in ((system,) if system else _FILE_NAMES)]
    return found


def _load():
    tried = []
    for description, path in _candidates():
        try:
            lib = ctypes.CDLL(path)
        except OSError as e:
            tried.append(f"  {description}: {e}")
            continue
        _declare(lib)
        return lib
    unset = "" if os.environ.get(ENV_VARIABLE) else f" ({ENV_VARIABLE} is not set)"
    raise LibraryNotFound(
        "tovrel: cannot load the tovrel shared library" + unset + "; tried:\n" + "\n".join(tried)
        + f"\nBuild it (cmake --build build --target tovrel) and set {ENV_VARIABLE} to its path, "
        "or put it beside the tovrel package.")


def _declare(lib):
    i32, u32, f32, f64 = ctypes.c_int32, ctypes.c_uint32, ctypes.c_float, ctypes.c_double
    lib.map_polygon.argtypes = [_DESC_P, _DESC_P, ctypes.POINTER(MapVertex), i32, u32, i32, i32]
    lib.map_polygon.restype = i32
    lib.map_rectangle.argtypes = [_DESC_P, f32, f32, f32, f32, _DESC_P, f32, f32, f32, f32,
                                  u32, i32, i32]
    lib.map_rectangle.restype = None
    lib.multisrc_map_rectangle.argtypes = [_DESC_P, f64, f64, f64, f64, ctypes.POINTER(_DESC_P),
                                           i32, f64, f64, f64, f64, u32, i32, i32]
    lib.multisrc_map_rectangle.restype = None
    lib.tovrel_set_report_sink.argtypes = [_SINK, ctypes.c_void_p]
    lib.tovrel_set_report_sink.restype = None
    lib.tovrel_set_report_sink(_sink, None)


_lock = threading.Lock()
_library = None


def library():
    """The loaded library (loaded on first use)."""
    global _library
    if _library is None:
        with _lock:
            if _library is None:
                _library = _load()
    return _library


def library_path():
    """File name of the loaded library."""
    return library()._name


def call(function, *args):
    """Calls one entry point; returns the report lines it produced. ctypes
    releases the interpreter lock for the duration of the call."""
    _reports.lines = []
    try:
        function(*args)
        return _reports.lines
    finally:
        _reports.lines = None
