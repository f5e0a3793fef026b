"""Coverage-guided fuzzing: runs the fuzz targets of tests/fuzz and says what they came to."""
