ombrel_bench(gate_bench SOURCES gate_bench.cpp LIBS ombrel_runtime ombrel_platform)
