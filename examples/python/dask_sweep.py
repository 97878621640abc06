"""The tolerance study of tolerance_study.py on a Dask cluster: the variants are cut into
chunks, each chunk is solved in a worker process, and the curves are gathered and compared
with the same study run here in a plain loop. The answers must be the same, bit for bit.

    python3 examples/python/dask_sweep.py [--variants 2000] [--workers 2] [--scheduler ADDRESS]

Without --scheduler it starts a local cluster of worker processes (processes, not threads: the
solver core runs one call at a time per process). With --scheduler tcp://host:8786 the same
code runs on a cluster of many machines, each with qsolver installed.
"""

import argparse
import logging
import tempfile
import time

import numpy as np
from dask.distributed import Client, LocalCluster

import fourbar_study
from fourbar_study import load_fourbar, tolerance_variants, variant_curves
from tolerance_study import CRANK


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--variants", type=int, default=2000)
    parser.add_argument("--workers", type=int, default=2)
    parser.add_argument("--chunk", type=int, default=250, help="variants per task")
    parser.add_argument("--scheduler", help="address of a running Dask scheduler")
    args = parser.parse_args()

    base_json = load_fourbar().to_json()
    lengths = tolerance_variants(args.variants)
    chunks = [lengths[i:i + args.chunk] for i in range(0, len(lengths), args.chunk)]

    scratch = tempfile.TemporaryDirectory(prefix="qsolver-dask-")
    if args.scheduler:
        cluster = None
        client = Client(args.scheduler)
        client.upload_file(fourbar_study.__file__)  # the tasks' code, for remote workers
    else:
        cluster = LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True,
                               dashboard_address=None, local_directory=scratch.name,
                               silence_logs=logging.ERROR)
        client = Client(cluster)
    try:
        start = time.perf_counter()
        futures = client.map(variant_curves, [base_json] * len(chunks), chunks,
                             [CRANK] * len(chunks), pure=False)
        on_cluster = np.vstack(client.gather(futures))
        cluster_time = time.perf_counter() - start
    finally:
        client.close()
        if cluster is not None:
            cluster.close()
        scratch.cleanup()

    start = time.perf_counter()
    local = variant_curves(base_json, lengths, CRANK)
    local_time = time.perf_counter() - start

    same = np.array_equal(on_cluster, local, equal_nan=True)
    print(f"{args.variants} variants: local loop {local_time:.2f} s, Dask "
          f"({args.workers if not args.scheduler else 'remote'} worker processes, "
          f"{len(chunks)} tasks) {cluster_time:.2f} s; "
          f"answers {'identical' if same else 'DIFFERENT'}")
    if not same:
        diff = np.nanmax(np.abs(on_cluster - local))
        raise SystemExit(f"the Dask answers differ from the local loop's (max {diff})")


if __name__ == "__main__":
    main()
