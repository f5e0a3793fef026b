"""Long runs that try to break the service; tools/stress and tools/fuzz start them."""
