"""How much of a controller the service takes: the size of its file, memory, threads, descriptors."""
