#!/usr/bin/env python3
"""Writes the seed inputs of the request-path and transport-stream fuzz targets (their input
layouts are described at the top of request_path_fuzz.cpp and tsdemux_fuzz.cpp).

usage: make_seeds.py TESTDATA_DIR REQUEST_SEEDS_DIR TSDEMUX_SEEDS_DIR
"""
import json
import pathlib
import re
import struct
import sys

STATES = 6  # the platform states of request_path_fuzz.cpp: defaults and five documents


def request(method, data=None, buffer=b""):
    body = {"method": method}
    if data is not None:
        body["data"] = data
    return json.dumps(body).encode() + b"\0" + struct.pack(">H", len(buffer)) + buffer


def request_seeds(sections):
    seeds = []
    for number, (program, section) in enumerate(sections):
        # A section, then what a client asks of the catalogue it made.
        seeds.append(bytes([number % STATES]) +
                     request("SendPMTData", {"reset": True, "programNum": program}, section) +
                     request("GetAudio", 0) + request("GetVideo", 0) + request("GetSubtitle", 0))
    for state in range(STATES):
        seeds.append(bytes([state]) + request("SizeOfAudio") + request("SizeOfVideo") +
                     request("SizeOfSubtitle") + request("GetPID", 3))
        seeds.append(bytes([state]) +
                     request("SaveCurrentVideoPlayingTime", None, struct.pack("=I", 90000)) +
                     request("GetCurrentVideoPlayingTime"))
    seeds.append(bytes([0]) + request("SendPESDataWithFirstPTS", {"pts": 1}, b"\x00\x00\x01\xe0"))
    return seeds


def strided(stream, before, after):
    """The stream's 188-byte packets with `before` bytes ahead of and `after` bytes behind each."""
    packets = [stream[i:i + 188] for i in range(0, len(stream) - 187, 188)]
    return b"".join(b"\x00" * before + packet + b"\xff" * after for packet in packets)


def tsdemux_seeds(streams):
    seeds = []
    for name, stream in streams:
        head = stream[:188 * 12]  # PAT and every PMT sit in the first packets of each capture
        for read_size in range(3):
            seeds.append((name, struct.pack(">HB", 0, read_size) + head))
        seeds.append((name + ".m2ts", struct.pack(">HB", 0, 3) + strided(head, 4, 0)))
        seeds.append((name + ".rs", struct.pack(">HB", 0, 6) + strided(head, 0, 16)))
        seeds.append((name + ".cut", struct.pack(">HB", 0, 5) + head[:188 * 9 + 100]))
    return seeds


def main():
    testdata, request_dir, tsdemux_dir = map(pathlib.Path, sys.argv[1:4])
    sections = []
    for path in sorted((testdata / "pmt").glob("*.sec")):
        program = int(re.search(r"\.p(\d+)\.", path.name).group(1))
        sections.append((program, path.read_bytes()))
    streams = [(path.stem, path.read_bytes()) for path in sorted((testdata / "ts").glob("*.ts"))]
    request_dir.mkdir(parents=True, exist_ok=True)
    tsdemux_dir.mkdir(parents=True, exist_ok=True)
    for number, seed in enumerate(request_seeds(sections)):
        (request_dir / f"seed-{number:03}").write_bytes(seed)
    for number, (name, seed) in enumerate(tsdemux_seeds(streams)):
        (tsdemux_dir / f"seed-{number:03}-{name}").write_bytes(seed)


if __name__ == "__main__":
    main()
