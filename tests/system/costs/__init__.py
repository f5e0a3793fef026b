"""What a start and an update cost in things that can be counted, beside what they did."""
