"""Robot recordings: reads ROS 1 and ROS 2 bags and writes them with the refined depth added. Needs the extra "ros"."""
