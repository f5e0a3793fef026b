"""Updates while many clients read, call and signal at the same time."""
