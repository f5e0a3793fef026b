"""What the long runs against the service are made of: faults, load, hostile callers, sudden ends."""
