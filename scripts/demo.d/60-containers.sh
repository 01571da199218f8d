# Containers: the queue's push and pop against a bare mutex-and-copy pair,
# and 4 KiB strings through a ring against moving them byte by byte.
say "bench_containers (queue and ring, with their baselines)"
"$bin/bench/bench_containers" --benchmark_min_time=0.05
