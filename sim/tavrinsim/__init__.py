"""The simulated controller: a world around the unmodified service, made of Python parts."""
