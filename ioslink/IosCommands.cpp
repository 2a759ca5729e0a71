// Command builders.
