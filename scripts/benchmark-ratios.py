#!/usr/bin/env python3
"""Ratios of ours to the peer for every benchmark pair, as min / median / max over the runs that
scripts/benchmarks.sh left in a directory (one JSON file per program and run). Each run contributes
the ratio of the two medians of its repetitions; real time for the programs measured across
threads, CPU time elsewhere."""
import glob, json, os, re, statistics, sys

# (program, ours, peer, what the ratio means)
PAIRS = [
    ("MemoryBenchmarks", "MemoryBufferWrite32", "RawWrite32", "write32 vs raw floor"),
    ("MemoryBenchmarks", "MemoryBufferWriterWrite32", "RawWrite32", "Writer write32 vs raw floor"),
    ("MemoryBenchmarks", "MemoryBufferWrite32", "VectorWrite32", "write32 vs vector append"),
    ("MemoryBenchmarks", "MemoryBufferWriteFloat4", "RawWriteFloat4", "writeFloat4 vs raw floor"),
    ("MemoryBenchmarks", "MemoryBufferWriterWriteFloat4", "RawWriteFloat4", "Writer writeFloat4 vs raw floor"),
    ("MemoryBenchmarks", "MemoryBufferWriteString", "RawWriteString", "writeString vs raw floor"),
    ("MemoryBenchmarks", "MemoryBufferWriteString", "VectorWriteString", "writeString vs vector append"),
    ("MemoryBenchmarks", "MemoryBufferRead32", "RawRead32", "read32 vs raw floor"),
    ("MemoryBenchmarks", "MemoryBufferReadFloat4", "RawReadFloat4", "readFloat4 vs raw floor"),
    ("MemoryBenchmarks", "MemoryBufferReadString", "RawReadString", "readString vs raw floor"),
    ("MemoryBenchmarks", "PoolBasePair", "MallocPair", "PoolBase pair vs malloc"),
    ("MemoryBenchmarks", "PoolBaseBatch", "MallocBatch", "PoolBase batch vs malloc"),
    ("StringsBenchmarks", "Murmur2/64", "StdHashStringView/64", "murmur2 64 B vs std::hash"),
    ("StringsBenchmarks", "Murmur2/4096", "StdHashStringView/4096", "murmur2 4 KiB vs std::hash"),
    ("StringsBenchmarks", "StringViewFind/repeated:0", "StdStringViewFind/repeated:0", "find vs std (distinct)"),
    ("StringsBenchmarks", "StringViewFind/repeated:1", "StdStringViewFind/repeated:1", "find vs std (repeated)"),
    ("StringsBenchmarks", "SmallVectorPush8", "StdVectorPush8", "SmallVector push 8 vs std::vector"),
    ("ComponentModelBenchmarks", "Ours_AllocateReleasePair", "Plain_AllocateReleasePair", "component allocate + release"),
    ("ComponentModelBenchmarks", "Ours_Churn", "Plain_Churn", "release random + allocate"),
    ("ComponentModelBenchmarks", "Ours_Resolve", "Plain_Resolve", "resolve"),
    ("ComponentModelBenchmarks", "Ours_Iterate", "Plain_Iterate", "iterate"),
    ("ComponentModelBenchmarks", "Ours_IterateAfterChurn", "Plain_IterateAfterChurn", "iterate after churn"),
    ("LoggingBenchmark", "FilteredOut_Tarn", "FilteredOut_Spdlog", "filtered-out call"),
    ("LoggingBenchmark", "Dispatched_Tarn", "Dispatched_Spdlog", "dispatched call"),
    ("LoggingBenchmark", "FileLines_Tarn", "FileLines_Spdlog", "file line"),
    ("GeometryBenchmark", "LLtoUTM_ZoneComputed", "PROJ_Trans", "LLtoUTM vs PROJ"),
    ("GeometryBenchmark", "Polygon_IsPointInside100", "Boost_Within100", "isPointInside vs Boost"),
    ("GeometryBenchmark", "Polygon_Subtract100/0", "Boost_Difference100/0", "subtract concave vs Boost"),
    ("GeometryBenchmark", "Polygon_Subtract100/1", "Boost_Difference100/1", "subtract convex vs Boost"),
    ("InputBenchmark", "GesturesMoveTenPointers", "UnorderedMapMoveTenPointers", "gestures 10 pointers vs map"),
    ("FilesBenchmark", "ReadFileSync/0/repeats:5/real_time", "ReadLoopIntoPreallocatedBuffer/repeats:5/real_time", "readFileSync repeated vs read loop"),
    ("FilesBenchmark", "ReadFileSync/1/repeats:5/real_time", "ReadLoopIntoPreallocatedBuffer/repeats:5/real_time", "readFileSync first read vs read loop"),
    ("FilesBenchmark", "FileHandleMapAndSum/repeats:5/real_time", "DirectMmapAndSum/repeats:5/real_time", "FileHandle::map vs mmap"),
    ("NetworkBenchmarks", "BM_MessageHub_OneToOne/min_time:1.000/real_time", "BM_ZeroMQ_InprocPushPull/min_time:1.000/real_time", "hub 1->1 vs ZeroMQ inproc"),
    ("NetworkBenchmarks", "BM_RoundTrip16_ConnectionHub/min_time:1.000/real_time", "BM_RoundTrip16_RawSockets/min_time:1.000/real_time", "TCP round trip vs raw"),
    ("NetworkBenchmarks", "BM_RoundTrip16_ConnectionHub/min_time:1.000/real_time", "BM_RoundTrip16_ZeroMQ/min_time:1.000/real_time", "TCP round trip vs ZeroMQ"),
    ("NetworkBenchmarks", "BM_Throughput_ConnectionHub/16/min_time:1.000/real_time", "BM_Throughput_ZeroMQ/16/min_time:1.000/real_time", "TCP 16 B time/msg vs ZeroMQ"),
    ("NetworkBenchmarks", "BM_Throughput_ConnectionHub/1024/min_time:1.000/real_time", "BM_Throughput_ZeroMQ/1024/min_time:1.000/real_time", "TCP 1 KiB time/msg vs ZeroMQ"),
    ("NetworkBenchmarks", "BM_Throughput_ConnectionHub/1024/min_time:1.000/real_time", "BM_Throughput_RawSockets/1024/min_time:1.000/real_time", "TCP 1 KiB time/msg vs raw"),
    ("NetworkBenchmarks", "BM_ThroughputTwoProcesses_ConnectionHub/16/min_time:1.000/real_time", "BM_ThroughputTwoProcesses_ZeroMQ/16/min_time:1.000/real_time", "TCP 16 B two processes vs ZeroMQ"),
    ("NetworkBenchmarks", "BM_ThroughputTwoProcesses_ConnectionHub/1024/min_time:1.000/real_time", "BM_ThroughputTwoProcesses_ZeroMQ/1024/min_time:1.000/real_time", "TCP 1 KiB two processes vs ZeroMQ"),
    ("NetworkBenchmarks", "BM_ThroughputTwoProcesses_ConnectionHub/1024/min_time:1.000/real_time", "BM_ThroughputTwoProcesses_RawSockets/1024/min_time:1.000/real_time", "TCP 1 KiB two processes vs raw"),
]
REAL_TIME = {"NetworkBenchmarks", "FilesBenchmark"}


def medians(path):
    with open(path) as f:
        data = json.load(f)
    result = {}
    for b in data["benchmarks"]:
        if b.get("aggregate_name") == "median":
            result[b["run_name"]] = b
    return result


def main(directory):
    runs = {}
    for path in sorted(glob.glob(os.path.join(directory, "*.json"))):
        program = re.sub(r"-\d+\.json$", "", os.path.basename(path))
        runs.setdefault(program, []).append(medians(path))
    print(f"{'pair':45} {'runs':>4} {'min':>6} {'median':>6} {'max':>6}   ours / peer (median run)")
    for program, ours, peer, label in PAIRS:
        key = "real_time" if program in REAL_TIME else "cpu_time"
        ratios, pairs = [], []
        for run in runs.get(program, []):
            if ours in run and peer in run:
                ratios.append(run[ours][key] / run[peer][key])
                pairs.append((run[ours][key], run[peer][key], run[ours]["time_unit"]))
        if not ratios:
            continue
        middle = sorted(zip(ratios, pairs))[len(ratios) // 2][1]
        print(f"{label:45} {len(ratios):>4} {min(ratios):6.2f} {statistics.median(ratios):6.2f} "
              f"{max(ratios):6.2f}   {middle[0]:.4g} / {middle[1]:.4g} {middle[2]}")


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "build/benchmarks")
