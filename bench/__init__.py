"""What the service adds to the waiting that it exists for, measured beside the least that could be done."""
