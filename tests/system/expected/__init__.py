"""What the service is expected to do, as lines of `sequence`: blocks that many tests share."""
