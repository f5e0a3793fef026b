"""The parts of sdbus++: definitions in YAML in, C++ text out."""
