"""What all commands need: errors for users, output files, image files, progress."""
