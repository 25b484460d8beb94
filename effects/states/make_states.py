#!/usr/bin/env python3
"""Writes the state files beside it. They are in the repository; run this only when the gain's state changes.

gain-unity.vstpreset  VST 3: header, the component's state (count, gain), the list of chunks
gain-unity.fxp        VST 2: a program as a list of parameters, each 0 to 1
"""
import pathlib
import struct

FOLDER = pathlib.Path(__file__).parent
GAIN_CLASS = b"7A1C5E023B6D4F908E21D4C79F50A6B3"
GAIN_ID = b"qvxG"


def vstpreset(class_id: bytes, component: bytes) -> bytes:
    data_at = 4 + 4 + 32 + 8
    header = b"VST3" + struct.pack("<i32sq", 1, class_id, data_at + len(component))
    return header + component + b"List" + struct.pack("<i4sqq", 1, b"Comp", data_at, len(component))


def fxp(unique_id: bytes, name: bytes, parameters: list[float]) -> bytes:
    body = b"FxCk" + struct.pack(">i4sii28s", 1, unique_id, 1000, len(parameters), name)
    body += struct.pack(f">{len(parameters)}f", *parameters)
    return b"CcnK" + struct.pack(">i", len(body)) + body


(FOLDER / "gain-unity.vstpreset").write_bytes(vstpreset(GAIN_CLASS, struct.pack("<Id", 1, 1.0)))
(FOLDER / "gain-unity.fxp").write_bytes(fxp(GAIN_ID, b"Unity", [0.5]))
